// What the models of memory controllers do alike: how a model finds its instances and answers, and the rows of the
// commands that all of them have.
#pragma once

#include <string>

#include "kdi/coregen/Controller.h"
#include "tcltasks/frame/engine_rows.h"

namespace memory {

using namespace engine_rows;

/// A model, by its manager and instances in the engine. A version of commands derives from it and says how they are
/// named: `kScope`, `kFlat`, and `kPrefix` ("Ip_Mig_"), with which most names begin.
template <class ManagerOfIt, class InstanceOfIt>
struct Model {
  using Manager = ManagerOfIt;
  using Instance = InstanceOfIt;
  using Results = OneElementResults;
  static constexpr char const* kNoInstance = "Internal Error: MIG instance load error";

  static Instance* find(std::string const& name) { return Manager::getIPInstance(name); }
  static Instance* find(ParamMap const& options) { return Manager::getIPInstance(options); }
};

/// The name of a command that begins as most do, and its three forms.
template <class V, FixedText name>
inline constexpr auto kBase = V::kPrefix + name;
template <class V, FixedText name>
inline constexpr tcl::Names kInScope = kScoped<V, kBase<V, name>>;
template <class V, FixedText name>
inline constexpr tcl::Names kIsFlat = kFlat<V, kBase<V, name>>;
template <class V, FixedText name>
inline constexpr tcl::Names kInBoth = kBoth<V, kBase<V, name>>;

/// What is said of a wrong number of words by a command that counts them itself; one of them without the blank.
template <class V, FixedText name>
inline constexpr char const* kTooFew = kJoined<kBase<V, name>, " : Not enough arguments">.text;
template <class V, FixedText name>
inline constexpr char const* kTooFewClose = kJoined<kBase<V, name>, ": Not enough arguments">.text;

/// Told on the debug channel of models that have one.
template <class V, FixedText name>
using Told = Traced<kJoined<"Mig::", kBase<V, name>>>;

inline void throw_text(std::string const& text) { throw text; }

/// Rows of all models. The order of registration is each model's own.
template <class V>
struct Common {
  using I = typename V::Instance;
  using Manager = typename V::Manager;
  using Text = std::string const&;

  // -------------------------------------------------------------------------------------------------- instances

  static constexpr tcl::Row kLoadPkg =
      row<V, &Manager::loadMigPkgData, Options<1>, Told<V, "loadPkg">>(kInBoth<V, "loadPkg">);
  static constexpr tcl::Row kUnLoadPkg =
      row<V, &Manager::releasePkgData, WholeOptions<1>, Told<V, "unLoadPkg">>(kInBoth<V, "unLoadPkg">);
  static constexpr tcl::Row kUpdateInstanceName =
      row<V, &Manager::updateInstanceName, Options<1>>(kInScope<V, "UpdateInstanceName">);
  static constexpr tcl::Row kThrowError = row<V, throw_text, Word<1>>(kInScope<V, "ThrowError">);

  // --------------------------------------------------------------------------------------------- the user's pins

  static constexpr tcl::Row kSetSelectedBytesUpgrade =
      row<V, &I::setSelectedBytes_upgrade, By<Word<1>>, Pins<2>, OptionsBehindPins<2>>(
          kIsFlat<V, "setSelectedBytes_upgrade">);
  static constexpr tcl::Row kSetSelectedBytesNew =
      row<V, &I::setSelectedBytes_new, By<Word<1>>, Options<2>>(kInScope<V, "setSelectedBytes_new">);
  static constexpr tcl::Row kSetSignal = row<V, overload<Text, Text, Text, Text, Text>(&I::setSignal), By<Word<1>>,
                                             Word<2>, Word<3>, Word<4>, Word<5>, Word<6>>(kInBoth<V, "setSignal">);
  static constexpr tcl::Row kSetSignalWithPadName =
      row<V, overload<Text, Text>(&I::setSignal), By<Word<1>>, Word<2>, Word<3>>(kInBoth<V, "setSignalWithPadName">);
  static constexpr tcl::Row kSetDataBitsPerStrobe =
      row<V, &I::setDataBitsPerStrobe, By<Word<1>>, Word<2>>(kInBoth<V, "setDataBitsPerStrobe">);
  static constexpr tcl::Row kCheckIOPlanningCompletion =
      row<V, &I::CheckIOPlanningCompletion, By<Word<1>>, Word<2>, Options<3>>(kInScope<V, "CheckIOPlanningCompletion">);
  static constexpr tcl::Row kByteSelectionStatus =
      row<V, &I::byteSelectionStatus, By<Word<1>>, Word<2>>(kInScope<V, "byteSelectionStatus">);

  /// Of the controller 0.
  template <FixedText name>
  static constexpr tcl::Row kUpdateBankByteProperties =
      row<V, &I::updateBankBytePropertiesAsPerPins, By<Word<1>>, Constant<0>, Word<2>>(kBoth<V, name>);

  // ------------------------------------------------------------------------------------------ parameters and parts

  static constexpr tcl::Row kLoadCustomPartsData =
      row<V, overload<Text, Text>(&I::loadCustomParts), By<Word<1>>, Path<2>, Word<3>, Told<V, "loadCustomPartsData">>(
          kInScope<V, "loadCustomPartsData">);
  static constexpr tcl::Row kGetModelParams =
      row<V, &I::getmodelParams, By<Options<2>>, Word<1>, Options<2>, Told<V, "getmodelParams">>(
          kInScope<V, "getmodelParams">, tcl::pairs_behind(1, kTooFew<V, "getmodelParams">));
  static constexpr tcl::Row kBankSelModelParams =
      row<V, &I::getBankSelModelParams, By<Word<1>>, Word<2>, Word<3>, Options<4>, CountedFirst<2>>(
          kInScope<V, "BankSelModelParams">, tcl::at_least(2, kTooFewClose<V, "BankSelModelParams">));
  static constexpr tcl::Row kGetLocModelParams =
      row<V, &I::getLocModelParams, By<Options<2>>, Word<1>, Options<2>>(kInScope<V, "getLocModelParams">);
  static constexpr tcl::Row kGetDataBitsPerStrobe =
      row<V, &I::getDataBitsPerStrobe, By<Word<1>>, Word<2>, Word<3>>(kInBoth<V, "getDataBitsPerStrobe">);
  static constexpr tcl::Row kGetDeviceWidth =
      row<V, &I::getDeviceWidth, By<Word<1>>, Word<2>, Word<3>>(kInBoth<V, "getDeviceWidth">);

  // ------------------------------------------------------------------------------------------------------ outputs

  /// The reference voltage is not internal; the other form says it in its fourth word.
  static constexpr tcl::Row kGetXDCInfo =
      row<V, &I::getXDCInfo, By<Options<4>>, Word<1>, Word<2>, Word<3>, engine_rows::Text<"false">, Options<4>,
          Told<V, "getXDCInfo">>(kInScope<V, "getXDCInfo">);
  static constexpr tcl::Row kGetXDCInfoUpgrade =
      row<V, &I::getXDCInfo, By<Options<5>>, Word<1>, Word<2>, Word<3>, Word<4>, Options<5>,
          Told<V, "getXDCInfo_upgrade">>(kIsFlat<V, "getXDCInfo_upgrade">);
  static constexpr tcl::Row kGetExampleXDCInfo =
      row<V, &I::getExampleXDCInfo, By<Options<4>>, Word<1>, Word<2>, Word<3>, Options<4>>(
          kInScope<V, "getExampleXDCInfo">);
  static constexpr tcl::Row kGetOutputImpedencePorts =
      row<V, &I::getOutputImpedencePorts, By<Options<3>>, Word<1>, Word<2>, Options<3>>(
          kInBoth<V, "getOutputImpedencePorts">);
  static constexpr tcl::Row kGetIOStandardConstraints =
      row<V, &I::getIOStandardConstraints, By<Options<4>>, Word<1>, Word<2>, Word<3>, Options<4>>(
          kInBoth<V, "getIOStandardConstraints">);
  static constexpr tcl::Row kGetTopLevelPorts =
      row<V, &I::getTopLevelPorts, By<Options<4>>, Word<1>, Unused<3>>(kInScope<V, "getTopLevelPorts">);
  static constexpr tcl::Row kGetRIUMapVector =
      row<V, &I::getRIUMapVector, By<Word<1>>, Options<2>>(kInScope<V, "getRIUMapVector">);
  static constexpr tcl::Row kGetIOBMapStr =
      row<V, &I::getIOBMapStr, By<Word<1>>, Options<2>>(kInScope<V, "getIOBMapStr">);
  static constexpr tcl::Row kGetDDRMapStr =
      row<V, &I::getDDRMapStr, By<Word<1>>, Options<2>>(kInScope<V, "getDDRMapStr">);
};

}  // namespace memory

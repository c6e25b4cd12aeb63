// The exceptions of the platform: each carries a ready-made message, or none.
#pragma once

#include <exception>
#include <memory>
#include <string>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiDoor.h"

class KDI_DOOR HEXAll : public std::exception {
 public:
  std::shared_ptr<ComMsgMgrInstance const> message;  ///< may be null

  explicit HEXAll(std::shared_ptr<ComMsgMgrInstance const> finished);

  /// The message's text, or a fixed one; never null.
  char const* what() const noexcept override;

  /// Sends the message, if there is one.
  void print() const;
};

class KDI_DOOR HEXError : public HEXAll {
 public:
  using HEXAll::HEXAll;
};

class KDI_DOOR HEXAlgException : public HEXError {
 public:
  /// Makes an error message of the category "tcltasks" from `text`.
  explicit HEXAlgException(std::string const& text);
};

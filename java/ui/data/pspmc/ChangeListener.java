package ui.data.pspmc;

import java.util.List;

/** Hears what moves in a customisation. */
@FunctionalInterface
public interface ChangeListener {
  /**
   * Called for each change, on the thread that makes it, before the call that makes it returns. It may ask and change the
   * customisation, and close it. What it throws becomes a message of the package, and the other listeners are called
   * nevertheless.
   *
   * @param source the customisation
   * @param names the parameters whose value, range, state or error may be another now; to be read again
   */
  void changed(Customisation source, List<String> names);
}

package ui.frmwork.cmd;

/** What the package refuses or fails at, in its own words. */
public class CommandFailedException extends RuntimeException {
  private static final long serialVersionUID = 1L;

  /**
   * Made by the package.
   *
   * @param message what failed
   */
  public CommandFailedException(String message) {
    super(message);
  }
}

package ui.frmwork;

/** There was no memory left in the package. */
public class COutOfMemoryException extends RuntimeException {
  private static final long serialVersionUID = 1L;

  /**
   * Made by the package.
   *
   * @param message what failed
   */
  public COutOfMemoryException(String message) {
    super(message);
  }
}

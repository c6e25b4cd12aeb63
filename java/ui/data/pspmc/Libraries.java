package ui.data.pspmc;

import java.nio.file.Path;

/**
 * Where the native libraries are: in the folder that the system property {@value #FOLDER} names, or else where
 * {@code java.library.path} says. They are loaded once, at the first use of a class that needs them.
 */
public final class Libraries {
  /** The system property that names the folder. */
  public static final String FOLDER = "iptasks.lib.dir";

  private static boolean isLoaded;

  private Libraries() {}

  /** Loads the package and its companion for Java, which is in the same folder, if that has not been done. */
  static synchronized void load() {
    if (isLoaded) {
      return;
    }
    String folder = System.getProperty(FOLDER);
    for (String name : new String[] {"kdi_iptasks", "kdi_javatools"}) {
      if (folder == null) {
        System.loadLibrary(name);
      } else {
        System.load(Path.of(folder, System.mapLibraryName(name)).toAbsolutePath().toString());
      }
    }
    isLoaded = true;
  }
}

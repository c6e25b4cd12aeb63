package ui.data.pspmc;

import java.io.IOException;
import java.net.URISyntaxException;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

/**
 * Where the native libraries are: in the folder that the system property {@value #FOLDER} names, or else where they lie in an
 * installation or a build that the archive of this class is part of, or else where {@code java.library.path} says. They are
 * loaded once, at the first use of a class that needs them.
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
    String named = System.getProperty(FOLDER);
    Path folder = named != null ? Path.of(named).toAbsolutePath() : besideTheArchive();
    for (String name : new String[] {"kdi_iptasks", "kdi_javatools"}) {
      if (folder == null) {
        System.loadLibrary(name);
      } else {
        System.load(folder.resolve(System.mapLibraryName(name)).toString());
      }
    }
    isLoaded = true;
  }

  /** The folder of the libraries, seen from the archive of this class; null if it is not there. */
  private static Path besideTheArchive() {
    try {
      Path home = Path.of(Libraries.class.getProtectionDomain().getCodeSource().getLocation().toURI()).toRealPath().getParent();
      List<Path> places = new ArrayList<>(List.of(home));
      Path libraries = home.resolve("../../lib").normalize();
      if (Files.isDirectory(libraries)) {
        places.add(libraries.resolve("iptasks"));
        try (DirectoryStream<Path> folders = Files.newDirectoryStream(libraries, Files::isDirectory)) {
          folders.forEach(folder -> places.add(folder.resolve("iptasks")));
        }
      }
      String library = System.mapLibraryName("kdi_javatools");
      return places.stream().filter(place -> Files.exists(place.resolve(library))).findFirst().orElse(null);
    } catch (IOException | URISyntaxException | RuntimeException unknown) {
      return null; // an archive that is no file, or a folder that may not be read
    }
  }
}

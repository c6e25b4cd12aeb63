package ui.data.pspmc;

import java.util.function.LongConsumer;

/** What the companion library does. Pairs stand in one array, name, value, name, value; a customisation is a number. */
final class Natives {
  static {
    Libraries.load();
  }

  private Natives() {}

  /** Hears of a customisation. */
  interface Updates {
    void updated(String[] names);
  }

  /** Hears of all models. */
  interface Events extends Updates {
    void changed(long model, String[] namesAndValues, boolean byInterface);
  }

  static native String[] identifiers();

  static native long open(String identifier, String[] context, String[] parameters, Updates listener);

  static native void close(long customisation);

  static native String[] set(long customisation, String[] namesAndValues);

  static native String[] setTogether(long customisation, String[] namesAndValues);

  static native String[] takeBack(long customisation, String[] names);

  static native String[] undo(long customisation);

  static native String[] redo(long customisation);

  static native String[] useModel(long customisation, LongConsumer use);

  static native String[] names(long customisation);

  static native String[] get(long customisation, String name, String kind);

  static native String[] errors(long customisation);

  /** A text as a String, a list as an Object[], a dictionary as an Object[][] of its keys and their values. */
  static native Object explain(long customisation, String name, String message);

  static native String why(long customisation, String name, String message, int width);

  static native long subscribe(Events listener);

  static native void unsubscribe(long subscription);
}

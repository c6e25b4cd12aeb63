package iptasks;

/** Failures of the engine to order (faults.cpp). */
final class Faults {
  static {
    System.load(System.getProperty("iptasks.faults"));
  }

  static final int MESSAGE = 1;
  static final int NO_MEMORY = 2;
  static final int STANDARD = 3;
  static final int OTHER = 4;

  private Faults() {}

  static native void failNext(int failure);

  static native void fireElsewhere();
}

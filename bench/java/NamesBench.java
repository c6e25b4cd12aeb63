package iptasks;

import java.lang.management.ManagementFactory;
import java.lang.management.ThreadMXBean;
import java.util.Arrays;
import java.util.Locale;
import java.util.function.Supplier;
import ui.data.pspmc.pspmc;

/** What a getter of names costs beside a bare library, and beside the shortest way to a text. */
public final class NamesBench {
  static {
    System.load(System.getProperty("iptasks.bare"));
  }

  /** Asked for the processor time of this thread: what else the machine does has no say. */
  private static final ThreadMXBean THREADS = ManagementFactory.getThreadMXBean();

  private static final int CALLS = 100_000;
  private static final int PAIRS = 101;

  private NamesBench() {}

  static native String steps();

  static native String constant();

  private static double secondsOf(Supplier<String> getter) {
    long begin = THREADS.getCurrentThreadCpuTime();
    int length = 0;
    for (int i = 0; i < CALLS; ++i) {
      length += getter.get().length();
    }
    if (length != 26 * CALLS) {
      throw new AssertionError();
    }
    return (THREADS.getCurrentThreadCpuTime() - begin) * 1e-9;
  }

  private static double median(double[] values) {
    double[] sorted = values.clone();
    Arrays.sort(sorted);
    return sorted[sorted.length / 2];
  }

  private static boolean keeps(String what, Supplier<String> one, Supplier<String> other, double bar) {
    double[] first = new double[PAIRS];
    double[] second = new double[PAIRS];
    double[] ratios = new double[PAIRS];
    for (int i = -20; i < PAIRS; ++i) { // the first are warming up
      double a = secondsOf(one);
      double b = secondsOf(other);
      if (i >= 0) {
        first[i] = a;
        second[i] = b;
        ratios[i] = a / b;
      }
    }
    double ratio = median(ratios);
    System.out.printf(
        Locale.ROOT,
        "%-58s %10.3f ns %10.3f ns %8.3f   <= %-5.2f %s%n",
        what,
        median(first) / CALLS * 1e9,
        median(second) / CALLS * 1e9,
        ratio,
        bar,
        ratio <= bar ? "ok" : "MISSED");
    return ratio <= bar;
  }

  /**
   * Measures.
   *
   * @param words none
   */
  public static void main(String[] words) {
    System.out.printf("%nNames for Java (medians of %d pairs of %d calls)%n", PAIRS, CALLS);
    boolean kept = keeps("a getter / its steps in a bare library", pspmc::PSPMCParameters_getUart0Enable, NamesBench::steps, 1.1);
    kept &= keeps("a getter / NewStringUTF of a constant", pspmc::PSPMCParameters_getUart0Enable, NamesBench::constant, 2.5);
    System.exit(kept ? 0 : 1);
  }
}

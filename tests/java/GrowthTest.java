package iptasks;

import static org.junit.Assert.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import org.junit.Test;
import ui.data.pspmc.Customisation;
import ui.data.pspmc.pspmc;

/** Many calls, in a process of their own: what others gave back would be taken first, and hide what is kept. */
public class GrowthTest {
  private static final int VALUE = pspmc.get_HACGCPSPMCCustomDRCModel_VALUE();

  private static long residentKilobytes() throws Exception {
    for (String line : Files.readAllLines(Path.of("/proc/self/status"))) {
      if (line.startsWith("VmRSS:")) {
        return Long.parseLong(line.replaceAll("\\D", ""));
      }
    }
    throw new IllegalStateException("no VmRSS");
  }

  private static void callGetters(int times) {
    for (int i = 0; i < times; ++i) {
      if (pspmc.PSPMCParameters_getUart0Enable().length() != 26) {
        throw new AssertionError();
      }
    }
  }

  private static void askModel(long model, int times) {
    for (int i = 0; i < times; ++i) {
      if (pspmc.HACGCPSPMCCustomDRCModel_getParamInfo(model, "PMC_REF_CLK_FREQMHZ", VALUE).length != 1) {
        throw new AssertionError();
      }
    }
  }

  /** The heap of Java is all there from the begin (-XX:+AlwaysPreTouch), so that what grows is not its. */
  @Test
  public void aMillionCallsTakeNoMemory() throws Exception {
    try (Customisation core = ModelsTest.smaller()) {
      core.useModel(
          model -> {
            callGetters(100_000);
            askModel(model, 20_000);
          });
      long before = residentKilobytes();
      callGetters(1_000_000);
      core.useModel(model -> askModel(model, 50_000));
      long grown = residentKilobytes() - before;
      assertTrue(grown + " KB more", grown < 6 * 1024);
    }
  }
}

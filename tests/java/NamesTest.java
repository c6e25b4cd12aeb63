package iptasks;

import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertNotNull;

import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.HashSet;
import java.util.List;
import java.util.Set;
import org.junit.Test;
import ui.data.pspmc.pspmc;

/** Every getter and every constant, against the table. */
public class NamesTest {
  static List<String> table() throws Exception {
    return Files.readAllLines(Path.of(System.getProperty("iptasks.names")));
  }

  @Test
  public void everyGetterTellsItsKey() throws Exception {
    int called = 0;
    Set<String> keys = new HashSet<>();
    for (String line : table().subList(1, table().size())) {
      String[] row = line.split(",");
      Method getter = pspmc.class.getMethod(row[0] + "_" + row[1].replace("_1", "_"));
      assertEquals(line, row[2], getter.invoke(null));
      keys.add(row[2]);
      ++called;
    }
    assertEquals(1612, called);
    assertEquals(1137, keys.size());
  }

  @Test
  public void namesThatPeopleRelyOn() {
    assertEquals("PMC_QSPI_PERIPHERAL_MODE", pspmc.PSPMCParameters_getQspiMode());
    assertEquals("PMCX_QSPI_PERIPHERAL_MODE", pspmc.PSXLParameters_getQspiMode());
    assertEquals(pspmc.PSPMCParameters_getAceLite(), pspmc.PSParameters_getAceLite());
    assertEquals(pspmc.PSPMCParameters_getPsPlCtiInput0(), pspmc.PSPMCParameters_getFtmCtiIn0Enable());
    assertNotNull(pspmc.PSParameters_getSd0_20_IO());
  }

  @Test
  public void everyKindHasItsNumber() throws Exception {
    String[] kinds = {
      "VALUE", "TYPE", "RANGE", "ENABLED", "VISIBLE", "DISPLAY_NAME", "DESCRIPTION", "ERRMSG", "UNKNOWN"
    };
    for (String model : new String[] {"HACGCPSPMCCustomDRCModel", "HACGCPSXLCustomDRCModel"}) {
      for (int i = 0; i < kinds.length; ++i) {
        assertEquals(i, pspmc.class.getMethod("get_" + model + "_" + kinds[i]).invoke(null));
      }
    }
  }

  /** Each entry of the package is declared, and nothing else. */
  @Test
  public void nothingIsDeclaredThatIsNotThere() {
    long natives =
        Arrays.stream(pspmc.class.getDeclaredMethods()).filter(m -> Modifier.isNative(m.getModifiers())).count();
    assertEquals(1612 + 18 + 23, natives);
  }
}

package iptasks;

import static org.junit.Assert.assertArrayEquals;
import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertFalse;
import static org.junit.Assert.assertThrows;
import static org.junit.Assert.assertTrue;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.function.LongConsumer;
import org.junit.Test;
import ui.data.pspmc.Customisation;
import ui.data.pspmc.pspmc;
import ui.frmwork.COutOfMemoryException;
import ui.frmwork.cmd.CommandFailedException;

/** Every operation of the models over cores of the engine, and every way in which one fails. */
public class ModelsTest {
  static final String PART = "brvn1102-a625-2LHP-e-S";
  static final String LARGER_PART = "brvn3716-die-2LHP-e-S-es1";
  private static final int VALUE = pspmc.get_HACGCPSPMCCustomDRCModel_VALUE();
  private static final int RANGE = pspmc.get_HACGCPSPMCCustomDRCModel_RANGE();
  private static final int ERRMSG = pspmc.get_HACGCPSPMCCustomDRCModel_ERRMSG();
  private static final int UNKNOWN = pspmc.get_HACGCPSPMCCustomDRCModel_UNKNOWN();
  private static final String CLOCK = "PMC_REF_CLK_FREQMHZ";

  static Customisation smaller() {
    return Customisation.open("brenlo:ip:pspmc:1.4", Map.of("part", PART), Map.of(CLOCK, "33", "PS_CAN0_CLK", ""));
  }

  static Customisation larger() {
    return Customisation.open("brenlo:ip:psxl:1.0", Map.of("part", LARGER_PART), Map.of("PSX_UART0_BAUD_RATE", "115200"));
  }

  private static void onModel(Customisation core, LongConsumer use) {
    core.useModel(use);
  }

  @Test
  public void everyOperationOfTheSmaller() {
    try (Customisation core = smaller()) {
      onModel(
          core,
          model -> {
            String uart = pspmc.PSPMCParameters_getUart0Enable();
            assertArrayEquals(
                new String[] {"0"}, pspmc.HACGCPSPMCCustomDRCModel_getParamInfo(model, uart, VALUE));
            pspmc.HACGCPSPMCCustomDRCModel_guiSetParam(model, uart, "true");
            assertArrayEquals(
                new String[] {"1"}, pspmc.HACGCPSPMCCustomDRCModel_getParamInfo(model, uart, VALUE));
            pspmc.HACGCPSPMCCustomDRCModel_guiSetParams(model, new String[] {uart, "0", CLOCK, "99"});
            assertArrayEquals(
                new String[] {"PARAM " + CLOCK + "::99 is out of range  { 27,52 }"},
                pspmc.HACGCPSPMCCustomDRCModel_getParamInfo(model, CLOCK, ERRMSG));
            assertArrayEquals(
                new String[] {"27", "52"}, pspmc.HACGCPSPMCCustomDRCModel_getParamInfo(model, CLOCK, RANGE));
            for (int kind : new int[] {UNKNOWN, -1, 9, Integer.MAX_VALUE, Integer.MIN_VALUE}) {
              assertEquals(0, pspmc.HACGCPSPMCCustomDRCModel_getParamInfo(model, CLOCK, kind).length);
            }
            String baud = pspmc.PSPMCParameters_getUart0BaudRate();
            pspmc.HACGCPSPMCCustomDRCModel_guiSetParam(model, uart, "1");
            String[] pairs = pspmc.HACGCPSPMCCustomDRCModel_getParamChoicesMappingList(model, baud);
            String[] range = pspmc.HACGCPSPMCCustomDRCModel_getParamInfo(model, baud, RANGE);
            assertEquals(2 * range.length, pairs.length);
            assertEquals(List.of(range[1], range[1]), Arrays.asList(pairs).subList(2, 4));
            pspmc.HACGCPSPMCCustomDRCModel_guiSetParams(model, new String[] {uart, "0", CLOCK, "99"});
            String told = pspmc.HACGCPSPMCCustomDRCModel_getUserModifiedParams(model);
            assertEquals(" " + CLOCK + " 99", told);
            assertEquals("", pspmc.HACGCPSPMCCustomDRCModel_getUserModifiedParams(model));
            pspmc.HACGCPSPMCCustomDRCModel_setUserModifiedParams(model, told);
            assertEquals(told, pspmc.HACGCPSPMCCustomDRCModel_getUserModifiedParams(model));

            String mode = pspmc.PSPMCParameters_getSysMonCustomPreset();
            String[] choices =
                pspmc.HACGCPSPMCCustomDRCModel_getSubPresetChoicesForSubPresetParam(model, mode);
            assertTrue(Arrays.asList(choices).contains("Tamper"));
            assertFalse(
                pspmc.HACGCPSPMCCustomDRCModel_getSubPresetInfoForSubPresetParam(model, mode, "Tamper").isEmpty());
            pspmc.HACGCPSPMCCustomDRCModel_guiSetSubPresetParam(model, "Tamper");
            assertArrayEquals(
                new String[] {"Tamper"}, pspmc.HACGCPSPMCCustomDRCModel_getParamInfo(model, mode, VALUE));

            assertArrayEquals(
                new String[] {"A", "1", "B", "{x y}", "C", ""},
                pspmc.HACGCPSPMCCustomDRCModel_getCurrentConfiguration(model, "A 1 B {x y} C"));
            assertTrue(Integer.parseInt(pspmc.HACGCPSPMCCustomDRCModel_getSysmonData(model, "SUPPLY_COUNT", "")) > 0);
            assertTrue(pspmc.HACGCPSPMCCustomDRCModel_guiGetStartSupplyID(model) >= 0);
            pspmc.HACGCPSPMCCustomDRCModel_guiSetParam(model, "PMC_SD1_PERIPHERAL_ENABLE", "1");
            assertTrue(
                pspmc.HACGCPSPMCCustomDRCModel_getBootModeOfSDPeripheral(model, "SD1").startsWith("SD1"));
          });
    }
  }

  @Test
  public void everyOperationOfTheLarger() {
    try (Customisation core = larger()) {
      onModel(
          core,
          model -> {
            String uart = pspmc.PSXLParameters_getUart0Enable();
            pspmc.HACGCPSXLCustomDRCModel_guiSetParam(model, uart, "true");
            assertArrayEquals(
                new String[] {"1"}, pspmc.HACGCPSXLCustomDRCModel_getParamInfo(model, uart, VALUE));
            String baud = pspmc.PSXLParameters_getUart0BaudRate();
            pspmc.HACGCPSXLCustomDRCModel_guiSetParams(model, new String[] {baud, "921600"});
            assertEquals(" " + baud + " 921600", pspmc.HACGCPSXLCustomDRCModel_getUserModifiedParams(model));
            String[] pairs = pspmc.HACGCPSXLCustomDRCModel_getParamChoicesMappingList(model, baud);
            String[] range = pspmc.HACGCPSXLCustomDRCModel_getParamInfo(model, baud, RANGE);
            assertEquals(2 * range.length, pairs.length);
            assertEquals(List.of(range[1], range[1]), Arrays.asList(pairs).subList(2, 4));
            for (String pin : pspmc.HACGCPSXLCustomDRCModel_getMioOccupiedPins(model)) {
              assertTrue(pin, pin.matches("(PMCX|PSX)_PRESET_MIO_\\d+:.+"));
            }
            assertTrue(Integer.parseInt(pspmc.HACGCPSXLCustomDRCModel_getSysmonData(model, "SUPPLY_COUNT", "")) > 0);
            assertTrue(pspmc.HACGCPSXLCustomDRCModel_guiGetSlrCount(model) >= 1);
            assertTrue(pspmc.HACGCPSXLCustomDRCModel_guiGetStartSupplyID(model) >= 0);
            assertTrue(pspmc.HACGCPSXLCustomDRCModel_isPSBankAvailable(model));
          });
    }
  }

  @Test
  public void addressesOfNoLiveModelGetTheNeutralAnswer() {
    long[] closed = new long[1];
    try (Customisation gone = smaller()) {
      gone.useModel(model -> closed[0] = model);
    }
    try (Customisation other = larger()) {
      other.useModel(
          model -> {
            for (long address : new long[] {0, 1, -1, 0xDEADBEEFL, Long.MAX_VALUE, closed[0], model}) {
              assertEquals(0, pspmc.HACGCPSPMCCustomDRCModel_getParamInfo(address, CLOCK, VALUE).length);
              assertEquals("", pspmc.HACGCPSPMCCustomDRCModel_getSysmonData(address, "SUPPLY_COUNT", ""));
              assertEquals(-1, pspmc.HACGCPSPMCCustomDRCModel_guiGetStartSupplyID(address));
              pspmc.HACGCPSPMCCustomDRCModel_guiSetParam(address, CLOCK, "40");
              if (address != model) {
                assertFalse(pspmc.HACGCPSXLCustomDRCModel_isPSBankAvailable(address));
                assertEquals(0, pspmc.HACGCPSXLCustomDRCModel_guiGetSlrCount(address));
                assertEquals(-1, pspmc.HACGCPSXLCustomDRCModel_guiGetStartSupplyID(address));
              }
            }
          });
    }
  }

  @Test
  public void textsOfAllKinds() {
    try (Customisation core = smaller()) {
      onModel(
          core,
          model -> {
            for (String text :
                new String[] {
                  "", "\0", "a\0b", "\uD834", "\uDD1E\uD834", "\uD834\uDD1E", "\u20AC", "x".repeat(100_000)
                }) {
              assertArrayEquals(
                  new String[] {"A" + text + "Z", "1"},
                  pspmc.HACGCPSPMCCustomDRCModel_getCurrentConfiguration(model, "A" + text + "Z 1"));
              assertArrayEquals(
                  new String[] {""}, pspmc.HACGCPSPMCCustomDRCModel_getParamInfo(model, "A" + text, VALUE));
            }
            assertEquals(1, pspmc.HACGCPSPMCCustomDRCModel_getParamInfo(model, null, VALUE).length);
            assertEquals("", pspmc.HACGCPSPMCCustomDRCModel_getSysmonData(model, null, null));
            pspmc.HACGCPSPMCCustomDRCModel_guiSetParam(model, null, null);
            pspmc.HACGCPSPMCCustomDRCModel_guiSetParams(model, null);
            pspmc.HACGCPSPMCCustomDRCModel_guiSetParams(model, new String[] {null, null});
          });
    }
  }

  @Test
  public void listsOfAnyLength() {
    int count = 100_000;
    List<String> words = new ArrayList<>();
    for (int i = 0; i < count; ++i) {
      words.add("P" + i);
    }
    try (Customisation core = smaller()) {
      onModel(
          core,
          model -> {
            String[] answer =
                pspmc.HACGCPSPMCCustomDRCModel_getCurrentConfiguration(model, String.join(" ", words));
            assertEquals(words, Arrays.asList(answer));
            // names that are none, so that the time is that of the list
            pspmc.HACGCPSPMCCustomDRCModel_guiSetParams(model, words.toArray(new String[0]));
          });
    }
  }

  @Test
  public void everyKindOfFailure() {
    try (Customisation small = smaller();
        Customisation large = larger()) {
      small.useModel(
          model -> {
            Faults.failNext(Faults.MESSAGE);
            refused("the engine gave up: 100 %", () -> pspmc.HACGCPSPMCCustomDRCModel_getUserModifiedParams(model));
            Faults.failNext(Faults.STANDARD);
            refused("a plain failure", () -> pspmc.HACGCPSPMCCustomDRCModel_getParamInfo(model, CLOCK, VALUE));
            Faults.failNext(Faults.OTHER);
            refused(
                "Unknown exception occurred", () -> pspmc.HACGCPSPMCCustomDRCModel_guiSetParam(model, CLOCK, "1"));
            Faults.failNext(Faults.NO_MEMORY);
            COutOfMemoryException failure =
                assertThrows(
                    COutOfMemoryException.class, () -> pspmc.HACGCPSPMCCustomDRCModel_guiGetStartSupplyID(model));
            assertEquals("Out of memory", failure.getMessage());
            refused(
                "guiSetParams : no value for \"A\"",
                () -> pspmc.HACGCPSPMCCustomDRCModel_guiSetParams(model, new String[] {"A"}));
            assertTrue(pspmc.HACGCPSPMCCustomDRCModel_guiGetStartSupplyID(model) >= 0);
          });
      large.useModel(
          model -> {
            for (int kind : new int[] {Faults.MESSAGE, Faults.STANDARD, Faults.OTHER}) {
              Faults.failNext(kind);
              assertThrows(
                  CommandFailedException.class, () -> pspmc.HACGCPSXLCustomDRCModel_isPSBankAvailable(model));
            }
            Faults.failNext(Faults.NO_MEMORY);
            assertThrows(COutOfMemoryException.class, () -> pspmc.HACGCPSXLCustomDRCModel_isPSBankAvailable(model));
            assertTrue(pspmc.HACGCPSXLCustomDRCModel_isPSBankAvailable(model));
          });
    }
  }

  private static void refused(String message, Runnable call) {
    assertEquals(message, assertThrows(CommandFailedException.class, call::run).getMessage());
  }
}

package iptasks;

import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertFalse;
import static org.junit.Assert.assertNull;
import static org.junit.Assert.assertThrows;
import static org.junit.Assert.assertTrue;

import java.lang.ref.WeakReference;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.concurrent.atomic.AtomicReference;
import org.junit.Test;
import ui.data.pspmc.ChangeListener;
import ui.data.pspmc.Customisation;
import ui.data.pspmc.Explanation;
import ui.data.pspmc.ModelEvents;
import ui.data.pspmc.ModelListener;
import ui.data.pspmc.Parameter;
import ui.data.pspmc.pspmc;
import ui.frmwork.cmd.CommandFailedException;

/** What a program does with a core. */
public class CustomisationTest {
  private static final String CLOCK = pspmc.PSPMCParameters_getPmcRefClkFreq();
  private static final String UART = pspmc.PSPMCParameters_getUart0Enable();

  @Test
  public void parametersAreReadSetAndTakenBack() {
    try (Customisation core = ModelsTest.smaller()) {
      assertEquals("brenlo:ip:pspmc:1.4", core.identifier());
      assertTrue(Customisation.identifiers().contains(core.identifier()));
      assertTrue(core.names().contains(UART));
      assertEquals(
          new Parameter(
              CLOCK,
              "33",
              "textEdit",
              List.of("27", "52"),
              true,
              "Reference clock",
              "The clock at the reference pin, in MHz.",
              ""),
          core.parameter(CLOCK));
      assertTrue(core.set(UART, "1").contains(UART));
      assertEquals("1", core.value(UART));
      assertTrue(core.undo().contains(UART));
      assertEquals("0", core.value(UART));
      core.redo();
      assertEquals("1", core.value(UART));
      assertTrue(core.takeBack(UART).contains(UART));
      assertEquals("0", core.value(UART));
      assertTrue(core.set(Map.of(UART, "1", CLOCK, "40")).containsAll(List.of(UART, CLOCK)));
      core.set(CLOCK, "99");
      assertEquals(Map.of(CLOCK, "PARAM " + CLOCK + "::99 is out of range  { 27,52 }"), core.errors());
      assertFalse(core.parameter(CLOCK).error().isEmpty());
    }
  }

  @Test
  public void explanationsAreTold() {
    try (Customisation core = ModelsTest.smaller()) {
      core.set(CLOCK, "99");
      Explanation why = core.explain(CLOCK);
      assertEquals(CLOCK, why.fact("parameter"));
      assertEquals("99", why.fact("value"));
      assertEquals("", why.fact("messages"));
      assertTrue(why.facts().get("messages") instanceof List<?> all && all.get(0) instanceof Map<?, ?>);
      assertTrue(why.text().contains(CLOCK));
      Explanation message = core.explain(CLOCK, "range");
      assertTrue(message.toString(), message.facts().containsKey("advice"));
    }
  }

  @Test
  public void coresWithoutAModelAreOfTheEngineAlone() {
    String clock = "PS7_REF_CLK_FREQMHZ";
    try (Customisation core =
        Customisation.open("brenlo:ip:ps7:1.4", Map.of("part", "zrv7030-c484-1-c"), Map.of(clock, "30"))) {
      assertEquals("30", core.value(clock));
      assertTrue(core.set(Map.of(clock, "40")).contains(clock));
      assertEquals("user", core.explain(clock).fact("origin"));
      assertEquals(
          List.of(),
          core.useModel(model -> assertEquals("", pspmc.HACGCPSPMCCustomDRCModel_getUserModifiedParams(model))));
      assertTrue(core.undo().contains(clock));
      assertEquals("30", core.value(clock));
    }
  }

  @Test
  public void whatCannotBeDoneIsRefused() {
    refused("no parameter model for \"nothing\"", () -> Customisation.open("nothing", Map.of()));
    try (Customisation core = ModelsTest.smaller()) {
      refused("pspmc 1.4 has no parameter \"NONE\"", () -> core.set("NONE", "1"));
      refused("pspmc 1.4 has no parameter \"\"", () -> core.value(null));
      refused("pspmc 1.4 has no parameter \"NONE\"", () -> core.explain("NONE"));
    }
    Customisation closed = ModelsTest.smaller();
    closed.close();
    closed.close();
    assertThrows(IllegalStateException.class, () -> closed.value(UART));
    assertThrows(IllegalStateException.class, () -> closed.set(UART, "1"));
    assertThrows(NullPointerException.class, () -> Customisation.open(null, Map.of()));
  }

  private static void refused(String begin, Runnable call) {
    String message = assertThrows(CommandFailedException.class, call::run).getMessage();
    assertTrue(message, message.startsWith(begin));
  }

  @Test
  public void listenersHearOfChangesOfTheirCore() {
    List<String> heard = new ArrayList<>();
    try (Customisation core = ModelsTest.smaller();
        Customisation other = ModelsTest.smaller()) {
      ChangeListener listener =
          (source, names) -> {
            assertEquals(core, source);
            if (names.contains(UART)) {
              heard.add(source.value(UART));
            }
          };
      core.addListener(listener);
      core.set(UART, "1");
      other.set(UART, "1");
      core.useModel(model -> pspmc.HACGCPSPMCCustomDRCModel_guiSetParam(model, UART, "0"));
      assertEquals(List.of("1", "0"), heard);
      core.removeListener(listener);
      core.set(UART, "1");
      assertEquals(2, heard.size());
    }
  }

  @Test
  public void listenersMayChangeThrowAndClose() {
    Customisation core = ModelsTest.smaller();
    List<String> heard = new ArrayList<>();
    core.addListener(
        (source, names) -> {
          throw new IllegalArgumentException("\0 \uD834\uDD1E no");
        });
    core.addListener(
        (source, names) -> {
          if (names.contains(UART) && heard.isEmpty()) {
            heard.add(UART);
            source.set(CLOCK, "40");
            heard.add(source.value(CLOCK));
          }
        });
    assertTrue(core.set(UART, "1").contains(UART));
    assertEquals(List.of(UART, "40"), heard);
    core.addListener((source, names) -> source.close());
    assertTrue(core.set(CLOCK, "41").contains(CLOCK));
    assertThrows(IllegalStateException.class, () -> core.value(CLOCK));
  }

  @Test
  public void eventsOfAllModelsComeFromAnyThread() {
    List<List<String>> updates = new ArrayList<>();
    AtomicReference<String> change = new AtomicReference<>();
    ModelListener listener =
        new ModelListener() {
          @Override
          public void updated(List<String> names) {
            updates.add(names);
          }

          @Override
          public void changed(long model, Map<String, String> parameters, boolean byInterface) {
            change.set(model + " " + parameters + " " + byInterface + " " + Thread.currentThread().isDaemon());
          }
        };
    try (Customisation core = ModelsTest.smaller()) {
      ModelEvents events = ModelEvents.subscribe(listener);
      Faults.fireElsewhere();
      assertEquals(List.of(List.of("A", "B")), updates);
      assertEquals("77 {A=1} true true", change.get());
      core.set(UART, "1");
      assertTrue(updates.get(1).contains(UART));
      events.close();
      events.close();
      Faults.fireElsewhere();
      core.set(UART, "0");
      assertEquals(2, updates.size());
    }
  }

  /** What the native side keeps of Java ends with the customisation, closed or forgotten. */
  @Test
  public void nothingIsKept() throws Exception {
    assertGone(listened(true));
    assertGone(listened(false));
    ModelListener listener = new ModelListener() {};
    ModelEvents.subscribe(listener).close();
    WeakReference<ModelListener> gone = new WeakReference<>(listener);
    listener = null;
    assertGone(gone);
  }

  private static WeakReference<?> listened(boolean isClosed) {
    Customisation core = ModelsTest.smaller();
    core.addListener((source, names) -> {});
    core.set(UART, "1");
    if (isClosed) {
      core.close();
    }
    return new WeakReference<>(core);
  }

  private static void assertGone(WeakReference<?> reference) throws Exception {
    for (int i = 0; i < 100 && reference.get() != null; ++i) {
      System.gc();
      Thread.sleep(10);
    }
    assertNull(reference.get());
  }
}

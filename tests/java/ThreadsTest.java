package iptasks;

import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertTrue;

import java.lang.reflect.Method;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.junit.Test;
import ui.data.pspmc.Customisation;
import ui.data.pspmc.pspmc;

/** Many threads. */
public class ThreadsTest {
  @Test
  public void eightThreadsAskAndChange() throws Exception {
    List<String> table = NamesTest.table();
    List<Callable<Integer>> tasks = new ArrayList<>();
    for (int thread = 0; thread < 8; ++thread) {
      int first = 1 + thread;
      tasks.add(
          () -> {
            int called = 0;
            for (int row = first; row < table.size(); row += 8) {
              String[] fields = table.get(row).split(",");
              Method getter = pspmc.class.getMethod(fields[0] + "_" + fields[1].replace("_1", "_"));
              assertEquals(fields[2], getter.invoke(null));
              ++called;
            }
            try (Customisation core = first % 2 == 0 ? ModelsTest.smaller() : ModelsTest.larger()) {
              String uart =
                  first % 2 == 0 ? pspmc.PSPMCParameters_getUart0Enable() : pspmc.PSXLParameters_getUart0Enable();
              List<String> heard = new ArrayList<>();
              core.addListener((source, names) -> heard.addAll(names));
              for (int i = 0; i < 4; ++i) {
                String value = i % 2 == 0 ? "1" : "0";
                List<String> moved = core.set(uart, value);
                assertTrue(moved.contains(uart));
                assertEquals(value, core.value(uart));
              }
              assertEquals(4, heard.stream().filter(uart::equals).count());
            }
            return called;
          });
    }
    ExecutorService threads = Executors.newFixedThreadPool(tasks.size());
    int called = 0;
    for (Future<Integer> one : threads.invokeAll(tasks)) {
      called += one.get();
    }
    threads.shutdown();
    assertEquals(1612, called);
  }

  /** One core from eight threads: each change is whole. */
  @Test
  public void eightThreadsShareACore() throws Exception {
    try (Customisation core = ModelsTest.smaller()) {
      String[] parameters = {
        pspmc.PSPMCParameters_getUart0Enable(), pspmc.PSPMCParameters_getUart1Enable(),
        pspmc.PSPMCParameters_getCan0Enable(), pspmc.PSPMCParameters_getCan1Enable()
      };
      List<Callable<Boolean>> tasks = new ArrayList<>();
      for (int thread = 0; thread < 8; ++thread) {
        String mine = parameters[thread % parameters.length];
        tasks.add(() -> core.set(mine, "1").contains(mine) || core.value(mine).equals("1"));
      }
      ExecutorService threads = Executors.newFixedThreadPool(tasks.size());
      for (Future<Boolean> one : threads.invokeAll(tasks)) {
        assertTrue(one.get());
      }
      threads.shutdown();
      for (String parameter : parameters) {
        assertEquals("1", core.value(parameter));
      }
    }
  }
}

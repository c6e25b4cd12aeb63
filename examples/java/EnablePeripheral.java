import java.util.List;
import java.util.Map;
import ui.data.pspmc.Customisation;
import ui.data.pspmc.pspmc;

/**
 * Opens a processor core, enables a peripheral, and prints what moved and why; then runs into a conflict, and out of it.
 *
 * <pre>java -cp iptasks.jar EnablePeripheral.java PART</pre>
 */
public class EnablePeripheral {
  public static void main(String[] words) {
    if (words.length != 1) {
      System.err.println("usage: EnablePeripheral PART");
      System.exit(2);
    }
    try (Customisation core = Customisation.open("brenlo:ip:pspmc:1.4", Map.of("part", words[0]))) {
      core.addListener((source, names) -> System.out.println(names.size() + " parameter(s) moved"));

      // Names come from the package, so that none is misspelt.
      List<String> moved = core.set(pspmc.PSPMCParameters_getUart0Enable(), "1");
      for (String name : moved) {
        // an explanation begins with the parameter itself; what decides follows, and what would change it
        System.out.println(core.explain(name).text().split("\n\n")[0]);
      }

      // The flash to boot from, on pads that the console takes then.
      core.set(pspmc.PSPMCParameters_getQspiEnable(), "1");
      core.set(pspmc.PSPMCParameters_getUart0IO(), "PMC_MIO 0 .. 1");
      core.errors().forEach((name, error) -> System.out.println(name + ": " + error));
      core.undo();
      System.out.println(core.errors().size() + " error(s) are left");
    }
  }
}

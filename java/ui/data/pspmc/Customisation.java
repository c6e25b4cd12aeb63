package ui.data.pspmc;

import java.lang.ref.Cleaner;
import java.lang.ref.WeakReference;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.concurrent.CopyOnWriteArrayList;
import java.util.function.LongConsumer;
import ui.frmwork.cmd.CommandFailedException;

/**
 * A processor core under customisation.
 *
 * <pre>{@code
 * try (Customisation core = Customisation.open("brenlo:ip:pspmc:1.4", Map.of("part", part))) {
 *   core.addListener((source, names) -> names.forEach(name -> System.out.println(name + " " + source.value(name))));
 *   core.set(pspmc.PSPMCParameters_getUart0Enable(), "1");
 *   core.errors().forEach((name, error) -> System.out.println(error + "\n" + core.explain(name)));
 * }
 * }</pre>
 *
 * <p>Any thread may use it; it does one thing at a time, its listeners included. Parameters are named as the engine or as
 * a user names them. What cannot be done is a {@link CommandFailedException} with the reason, and changes nothing;
 * anything that is asked of a customisation that is closed is an {@link IllegalStateException}. One that is not closed is
 * closed some time after nobody refers to it.
 */
public final class Customisation implements AutoCloseable {
  private static final Cleaner CLEANER = Cleaner.create();
  private static final int WIDTH = 100;

  private final String identifier;
  private final Handle handle;
  private final Cleaner.Cleanable ending;
  private final List<ChangeListener> listeners = new CopyOnWriteArrayList<>();

  /** Refers to nothing that refers to the customisation. */
  private static final class Handle implements Runnable {
    private long number;

    synchronized void set(long opened) {
      number = opened;
    }

    synchronized long open() {
      if (number == 0) {
        throw new IllegalStateException("the customisation is closed");
      }
      return number;
    }

    @Override
    public void run() {
      long closing;
      synchronized (this) {
        closing = number;
        number = 0;
      }
      if (closing != 0) {
        Natives.close(closing);
      }
    }
  }

  private Customisation(String identifier, Map<String, String> context, Map<String, String> parameters) {
    this.identifier = identifier;
    handle = new Handle();
    WeakReference<Customisation> self = new WeakReference<>(this);
    handle.set(
        Natives.open(
            identifier,
            Pairs.of(context),
            Pairs.of(parameters),
            names -> {
              Customisation source = self.get();
              if (source != null) {
                source.tell(List.of(names));
              }
            }));
    ending = CLEANER.register(this, handle);
  }

  /**
   * Opens a core as its description has it.
   *
   * @param identifier vendor, library, name and version of the core, joined by colons; one of {@link #identifiers},
   *     or that of a core that has no model and is asked of the engine alone
   * @param context what is known of where the core is: {@code part}, {@code instance_name} and others
   * @return the customisation
   */
  public static Customisation open(String identifier, Map<String, String> context) {
    return open(identifier, context, Map.of());
  }

  /**
   * Opens a core as a configuration that was stored has it.
   *
   * @param identifier vendor, library, name and version of the core, joined by colons; one of {@link #identifiers},
   *     or that of a core that has no model and is asked of the engine alone
   * @param context what is known of where the core is: {@code part}, {@code instance_name} and others
   * @param parameters those of the configuration
   * @return the customisation
   */
  public static Customisation open(
      String identifier, Map<String, String> context, Map<String, String> parameters) {
    return new Customisation(Objects.requireNonNull(identifier, "identifier"), context, parameters);
  }

  /**
   * What can be opened.
   *
   * @return the identifiers of the cores that have a model
   */
  public static List<String> identifiers() {
    return List.of(Natives.identifiers());
  }

  /**
   * What this is of.
   *
   * @return the identifier
   */
  public String identifier() {
    return identifier;
  }

  // -------------------------------------------------------------------------------------------------------- questions

  /**
   * All parameters.
   *
   * @return the engine's names, those of sub-cores behind the core's own
   */
  public List<String> names() {
    return List.of(Natives.names(handle.open()));
  }

  /**
   * The value of a parameter.
   *
   * @param name the parameter
   * @return its value
   */
  public String value(String name) {
    return one(name, "value");
  }

  /**
   * All that is known of a parameter.
   *
   * @param name the parameter
   * @return its state at this moment
   */
  public Parameter parameter(String name) {
    return new Parameter(
        name,
        value(name),
        one(name, "type"),
        List.of(Natives.get(handle.open(), name, "range")),
        one(name, "enabled").equals("true"),
        one(name, "display_name"),
        one(name, "description"),
        one(name, "error"));
  }

  /**
   * What is wrong.
   *
   * @return parameter to error, of the last change
   */
  public Map<String, String> errors() {
    return Pairs.map(Natives.errors(handle.open()));
  }

  /**
   * Why a parameter is what it is, and what would change it.
   *
   * @param name the parameter
   * @return what decides, with its values
   */
  public Explanation explain(String name) {
    return explain(name, "");
  }

  /**
   * Why there is a message on a parameter, and what would clear it.
   *
   * @param name the parameter
   * @param message the name that the core's description has for the message; empty for the parameter itself
   * @return what decides, with its values
   */
  public Explanation explain(String name, String message) {
    long opened = handle.open();
    return new Explanation(
        Explanation.facts(Natives.explain(opened, name, message)), Natives.why(opened, name, message, WIDTH));
  }

  // ---------------------------------------------------------------------------------------------------------- changes

  /**
   * Sets a parameter.
   *
   * @param name the parameter
   * @param value what it shall be; {@code true} and {@code false} are 1 and 0
   * @return what moved, each name once
   */
  public List<String> set(String name, String value) {
    return List.of(Natives.set(handle.open(), new String[] {name, value}));
  }

  /**
   * Sets several parameters at once, so that no rule sees one without the others.
   *
   * @param values parameter to value
   * @return what moved, each name once
   */
  public List<String> set(Map<String, String> values) {
    return List.of(Natives.setTogether(handle.open(), Pairs.of(values)));
  }

  /**
   * Takes back what was given, so that the core decides again.
   *
   * @param names the parameters
   * @return what moved, each name once
   */
  public List<String> takeBack(String... names) {
    return List.of(Natives.takeBack(handle.open(), names));
  }

  /**
   * Takes the last change back, whatever it was.
   *
   * @return what moved, each name once
   */
  public List<String> undo() {
    return List.of(Natives.undo(handle.open()));
  }

  /**
   * Makes a change again that was undone.
   *
   * @return what moved, each name once
   */
  public List<String> redo() {
    return List.of(Natives.redo(handle.open()));
  }

  /**
   * Gives the model to operations of {@link pspmc}, which take its address. What the model tells of them is told to the
   * listeners of this customisation.
   *
   * @param use is called once, on this thread, with the address, which is good until it returns
   * @return what moved, as far as the model tells
   */
  public List<String> useModel(LongConsumer use) {
    return List.of(Natives.useModel(handle.open(), Objects.requireNonNull(use, "use")));
  }

  // -------------------------------------------------------------------------------------------------------- listeners

  /**
   * Adds a listener.
   *
   * @param listener hears of each change from now on
   */
  public void addListener(ChangeListener listener) {
    listeners.add(Objects.requireNonNull(listener, "listener"));
  }

  /**
   * Removes a listener.
   *
   * @param listener hears no more
   */
  public void removeListener(ChangeListener listener) {
    listeners.remove(listener);
  }

  // -------------------------------------------------------------------------------------------------------------- end

  /** Ends the customisation; does nothing if it has ended. One that is at work ends when it is done. */
  @Override
  public void close() {
    ending.clean();
  }

  // All are told, whatever one of them throws; the first that did so is the one that is thrown.
  private void tell(List<String> names) {
    RuntimeException first = null;
    for (ChangeListener listener : listeners) {
      try {
        listener.changed(this, names);
      } catch (RuntimeException failure) {
        if (first == null) {
          first = failure;
        } else {
          first.addSuppressed(failure);
        }
      }
    }
    if (first != null) {
      throw first;
    }
  }

  private String one(String name, String kind) {
    String[] texts = Natives.get(handle.open(), name, kind);
    return texts.length == 0 ? "" : texts[0];
  }
}

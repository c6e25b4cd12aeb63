package ui.data.pspmc;

import java.util.List;
import java.util.Objects;

/**
 * The events of all models of the process. A listener is called on the thread on which a model changes, be it one of
 * Java's or not.
 */
public final class ModelEvents implements AutoCloseable {
  private long number;

  private ModelEvents(long number) {
    this.number = number;
  }

  /**
   * Adds a listener.
   *
   * @param listener hears of what happens from now on
   * @return ends it when it is closed
   */
  public static ModelEvents subscribe(ModelListener listener) {
    Objects.requireNonNull(listener, "listener");
    return new ModelEvents(
        Natives.subscribe(
            new Natives.Events() {
              @Override
              public void updated(String[] names) {
                listener.updated(List.of(names));
              }

              @Override
              public void changed(long model, String[] namesAndValues, boolean byInterface) {
                listener.changed(model, Pairs.map(namesAndValues), byInterface);
              }
            }));
  }

  /** The listener is called no more when this returns: calls on other threads are waited for. */
  @Override
  public void close() {
    long ending;
    synchronized (this) {
      ending = number;
      number = 0;
    }
    Natives.unsubscribe(ending);
  }
}

package ui.data.pspmc;

import java.util.List;
import java.util.Map;

/** Hears the events of all models, whoever opened them; see {@link ModelEvents}. */
public interface ModelListener {
  /**
   * Parameters of a model have changed, which the event does not name.
   *
   * @param names the parameters
   */
  default void updated(List<String> names) {}

  /**
   * The parameters of a model have changed, for whoever wraps the model.
   *
   * @param model the address of the model, good while this is called
   * @param parameters the parameters with their values
   * @param byInterface whether a user interface changed them, and not an update of all
   */
  default void changed(long model, Map<String, String> parameters, boolean byInterface) {}
}

package ui.data.pspmc;

import java.util.ArrayList;
import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/**
 * Why a parameter is what it is, and what would change it.
 *
 * @param facts everything that is known, by name: texts ({@code String}), lists ({@code List<Object>}) and facts with
 *     names of their own ({@code Map<String, Object>})
 * @param text the same for people, in lines
 */
public record Explanation(Map<String, Object> facts, String text) {
  /**
   * One of the facts that is a text.
   *
   * @param name such as {@code value} or {@code origin}
   * @return the text; empty if there is none of that name
   */
  public String fact(String name) {
    return facts.get(name) instanceof String text ? text : "";
  }

  @Override
  public String toString() {
    return text;
  }

  /** Of what the native side made. */
  static Map<String, Object> facts(Object made) {
    @SuppressWarnings("unchecked")
    Map<String, Object> facts = (Map<String, Object>) value(made);
    return facts;
  }

  private static Object value(Object made) {
    if (made instanceof Object[][] both) {
      Map<String, Object> map = new LinkedHashMap<>();
      for (int i = 0; i < both[0].length; ++i) {
        map.put((String) both[0][i], value(both[1][i]));
      }
      return Collections.unmodifiableMap(map);
    }
    if (made instanceof Object[] items) {
      List<Object> list = new ArrayList<>(items.length);
      for (Object item : items) {
        list.add(value(item));
      }
      return Collections.unmodifiableList(list);
    }
    return made;
  }
}

package ui.data.pspmc;

import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.Map;

/** Maps as the native side has them: name, value, name, value. */
final class Pairs {
  private Pairs() {}

  static String[] of(Map<String, String> map) {
    String[] pairs = new String[2 * map.size()];
    int at = 0;
    for (Map.Entry<String, String> entry : map.entrySet()) {
      pairs[at++] = entry.getKey();
      pairs[at++] = entry.getValue();
    }
    return pairs;
  }

  static Map<String, String> map(String[] pairs) {
    Map<String, String> map = new LinkedHashMap<>();
    for (int i = 0; i + 1 < pairs.length; i += 2) {
      map.put(pairs[i], pairs[i + 1]);
    }
    return Collections.unmodifiableMap(map);
  }
}

package ui.data.pspmc;

import java.util.List;

/**
 * What is known of a parameter at one moment.
 *
 * @param name the engine's name
 * @param value the value, or the one kept behind it while the parameter is disabled
 * @param type {@code combo}, {@code textEdit} or {@code checkBox}
 * @param range what it may be: the permitted values, or least and greatest of what is typed; empty for any
 * @param isEnabled whether a user may change it
 * @param displayName for people; may be empty
 * @param description for people; may be empty
 * @param error of the last change; empty for none
 */
public record Parameter(
    String name,
    String value,
    String type,
    List<String> range,
    boolean isEnabled,
    String displayName,
    String description,
    String error) {}

/**
 * Processor cores under customisation.
 *
 * <p>{@link ui.data.pspmc.Customisation} is where to begin: it opens a core, reads and sets parameters, tells what moved
 * and why. {@link ui.data.pspmc.pspmc} has the native entry points of the package one by one: the names of all parameters,
 * and the operations of the models.
 *
 * <p>The native libraries are looked for where {@link ui.data.pspmc.Libraries} says.
 */
package ui.data.pspmc;

/** What goes wrong in native code. */
package ui.frmwork;

/** What goes wrong in an operation. */
package ui.frmwork.cmd;

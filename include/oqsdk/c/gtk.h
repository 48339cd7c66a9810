/* SPDX-License-Identifier: Apache-2.0 */
#ifndef OQSDK_C_GTK_H
#define OQSDK_C_GTK_H

/* OQSDK's GTK 4 host for C. Link with liboqsdk_gtk; everything else is in <oqsdk/c/oqsdk.h>. */

#include <gtk/gtk.h>

G_BEGIN_DECLS

/**
 * oqsdk_gtk_attach:
 * @window: a window of the application
 * @error: why it failed
 *
 * Lets the library show messages in a window. Call it once for each window, on GTK's main thread, the first time before
 * the library is started. The window's child is wrapped in an overlay, also a child that is set later. Touches outside
 * the messages reach the program's widgets as before. The attachment ends when the window is destroyed.
 *
 * Returns: whether the window is attached; %TRUE also if it was attached before
 */
__attribute__((visibility("default"))) gboolean oqsdk_gtk_attach(GtkWindow* window, GError** error);

/**
 * oqsdk_gtk_attach_full:
 * @window: a window of the application
 * @application: (nullable): names the data folder and is written into logs; %NULL: the id of the GApplication, or else
 *   the name of the program
 * @version: (nullable): the application's version, for logs
 * @data_folder: (nullable) (type filename): for everything that is stored; %NULL: the XDG data folder of the
 * application
 * @maximum_scale: messages are laid out on a stage 375 points wide; in a window that is at least as wide as it is high
 *   it is enlarged at most by this factor. 0: the default, 1.5
 * @error: why it failed
 *
 * The same with options. Those of the application are used at the first call only.
 *
 * Returns: whether the window is attached; %TRUE also if it was attached before
 */
__attribute__((visibility("default"))) gboolean oqsdk_gtk_attach_full(GtkWindow* window, const char* application,
                                                                      const char* version, const char* data_folder,
                                                                      double maximum_scale, GError** error);

G_END_DECLS
#endif

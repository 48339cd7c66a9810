/* SPDX-License-Identifier: Apache-2.0 */

/* A window with one button. A press records an event, and the library may show a message for it. */
#include <gtk/gtk.h>
#include <oqsdk/c/gtk.h>
#include <oqsdk/c/oqsdk.h>

static void pressed(GtkButton* button, gpointer data) {
  (void)button, (void)data;
  if (oq_record("buy", NULL) != OQ_OK) g_warning("%s", oq_last_error()); /* an event may show a message */
}

static void activate(GtkApplication* application, gpointer data) {
  (void)data;
  GtkWidget* button = gtk_button_new_with_label("Buy");
  gtk_widget_set_halign(button, GTK_ALIGN_CENTER);
  gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
  g_signal_connect(button, "clicked", G_CALLBACK(pressed), NULL);

  GtkWidget* window = gtk_application_window_new(application);
  gtk_window_set_title(GTK_WINDOW(window), "First window");
  gtk_window_set_default_size(GTK_WINDOW(window), 390, 700);
  gtk_window_set_child(GTK_WINDOW(window), button);

  GError* error = NULL;
  if (!oqsdk_gtk_attach(GTK_WINDOW(window), &error)) g_error("%s", error->message); /* messages appear in this window */
  oq_start_options options = OQ_START_OPTIONS_INIT;
  options.app_key = "my-application";
  options.server = "https://localhost:8088";
  /* Campaigns belong to a user. The start logs in and fetches the campaigns. */
  if (oq_set_user("user-1") != OQ_OK || oq_start(&options) != OQ_OK) g_error("%s", oq_last_error());
  gtk_window_present(GTK_WINDOW(window));
}

int main(int argc, char** argv) {
  GtkApplication* application = gtk_application_new("com.example.FirstWindow", G_APPLICATION_DEFAULT_FLAGS);
  g_signal_connect(application, "activate", G_CALLBACK(activate), NULL);
  const int status = g_application_run(G_APPLICATION(application), argc, argv);
  g_object_unref(application);
  return status;
}

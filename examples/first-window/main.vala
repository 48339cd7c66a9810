/* SPDX-License-Identifier: Apache-2.0 */

/* A window with one button. A press records an event, and the library may show a message for it. */
void open_window (Gtk.Application application) throws Error {
    var messages = Oqsdk.Messages.get_default ();
    messages.clicked.connect ((message, part) => print ("%s %s\n", part.to_string (), message.event));
    var button = new Gtk.Button.with_label ("Buy") { halign = Gtk.Align.CENTER, valign = Gtk.Align.CENTER };
    button.clicked.connect (() => {
        try {
            messages.record ("buy", null); // an event may show a message
        } catch (Error error) {
            warning ("%s", error.message);
        }
    });

    var window = new Gtk.ApplicationWindow (application) { title = "First window", child = button };
    window.set_default_size (390, 700);
    OqsdkGtk.attach (window); // messages appear in this window
    messages.set_user ("user-1"); // campaigns belong to a user
    messages.start ("my-application", "https://localhost:8088"); // logs in, fetches the campaigns
    window.present ();
}

int main (string[] args) {
    var application = new Gtk.Application ("com.example.FirstWindow", ApplicationFlags.FLAGS_NONE);
    application.activate.connect (() => {
        try {
            open_window (application);
        } catch (Error error) {
            warning ("%s", error.message);
        }
    });
    return application.run (args);
}

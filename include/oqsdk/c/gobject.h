/* SPDX-License-Identifier: Apache-2.0 */
#ifndef OQSDK_C_GOBJECT_H
#define OQSDK_C_GOBJECT_H

/* OQSDK as a GObject, for languages that use introspection data: namespace Oqsdk, version 1. Link with
 * liboqsdk-gobject. A program in C usually needs only <oqsdk/c/oqsdk.h>.
 *
 * Attach a window first: the functions of OqsdkMessages fail while no host is installed. */

#include <glib-object.h>
#include <oqsdk/c/oqsdk.h>

G_BEGIN_DECLS

#define OQSDK_ERROR (oqsdk_error_quark())
OQ_API GQuark oqsdk_error_quark(void);

/**
 * OqsdkError:
 * @OQSDK_ERROR_ARGUMENT: an argument is not valid
 * @OQSDK_ERROR_THREAD: the function must be called on the main thread
 * @OQSDK_ERROR_STATE: not possible now: no window is attached, or the library is not started
 * @OQSDK_ERROR_MEMORY: out of memory
 * @OQSDK_ERROR_INTERNAL: anything else, for example a file that cannot be written
 *
 * Why a call failed. A call that fails changes nothing.
 */
typedef enum {
  OQSDK_ERROR_ARGUMENT = 1,
  OQSDK_ERROR_THREAD = 2,
  OQSDK_ERROR_STATE = 3,
  OQSDK_ERROR_MEMORY = 4,
  OQSDK_ERROR_INTERNAL = 5
} OqsdkError;
#define OQSDK_TYPE_ERROR (oqsdk_error_get_type())
OQ_API GType oqsdk_error_get_type(void);

/**
 * OqsdkPart:
 * @OQSDK_PART_PICTURE: the picture
 * @OQSDK_PART_LEFT_BUTTON: the left button
 * @OQSDK_PART_RIGHT_BUTTON: the right button
 * @OQSDK_PART_MIDDLE_BUTTON: the only button of style 2
 *
 * The part of a message that the user clicked.
 */
typedef enum {
  OQSDK_PART_PICTURE = 2,
  OQSDK_PART_LEFT_BUTTON = 4,
  OQSDK_PART_RIGHT_BUTTON = 5,
  OQSDK_PART_MIDDLE_BUTTON = 6
} OqsdkPart;
#define OQSDK_TYPE_PART (oqsdk_part_get_type())
OQ_API GType oqsdk_part_get_type(void);

/**
 * OqsdkEnvironment:
 * @OQSDK_ENVIRONMENT_PRODUCTION: the production server
 * @OQSDK_ENVIRONMENT_TEST: the test server
 * @OQSDK_ENVIRONMENT_DEVELOPMENT: the development server
 *
 * Which server is used.
 */
typedef enum {
  OQSDK_ENVIRONMENT_PRODUCTION = 0,
  OQSDK_ENVIRONMENT_TEST = 1,
  OQSDK_ENVIRONMENT_DEVELOPMENT = 2
} OqsdkEnvironment;
#define OQSDK_TYPE_ENVIRONMENT (oqsdk_environment_get_type())
OQ_API GType oqsdk_environment_get_type(void);

/**
 * OqsdkMessage:
 * @campaign: the campaign's id, as the server sent it
 * @event: the name of the event that caused the message
 * @style: 1 picture, 2 picture and text, 3 text with two buttons, 4 web page
 *
 * A message, as the signals describe it. Only the library creates messages.
 */
typedef struct {
  const char* campaign;
  const char* event;
  int style;
} OqsdkMessage;
#define OQSDK_TYPE_MESSAGE (oqsdk_message_get_type())
OQ_API GType oqsdk_message_get_type(void);
/**
 * oqsdk_message_copy:
 * @message: a message
 *
 * A signal's message is valid until the handler returns.
 *
 * Returns: (transfer full): a copy
 */
OQ_API OqsdkMessage* oqsdk_message_copy(const OqsdkMessage* message);
/**
 * oqsdk_message_free:
 * @message: (transfer full) (nullable): a copy
 *
 * Frees a copy.
 */
OQ_API void oqsdk_message_free(OqsdkMessage* message);

/**
 * OqsdkMessages:
 *
 * The library. There is one object per process: oqsdk_messages_get_default().
 *
 * Methods may be called on any thread unless "Main thread" is written at the method. The main thread is the one that
 * attached the first window. All signals except #OqsdkMessages::may-show are emitted there.
 *
 * In C, do not combine this object with oq_set_handlers(), which would replace the source of the signals.
 */
#define OQSDK_TYPE_MESSAGES (oqsdk_messages_get_type())
OQ_API GType oqsdk_messages_get_type(void);
#define OQSDK_MESSAGES(object) (G_TYPE_CHECK_INSTANCE_CAST((object), OQSDK_TYPE_MESSAGES, OqsdkMessages))
#define OQSDK_IS_MESSAGES(object) (G_TYPE_CHECK_INSTANCE_TYPE((object), OQSDK_TYPE_MESSAGES))
typedef struct _OqsdkMessages OqsdkMessages;
typedef struct _OqsdkMessagesClass OqsdkMessagesClass;

/**
 * OqsdkMessages:user:
 *
 * The user for whom campaigns are fetched, as it was set in this run. An error while the property is set is only
 * logged; oqsdk_messages_set_user() returns it.
 */

/**
 * OqsdkMessages:held:
 *
 * While it is %TRUE no message appears. Events that match are used up and not counted. A message that was counted
 * before, but is not on screen yet, appears when it is %FALSE again.
 */

/**
 * OqsdkMessages:consent:
 *
 * The user's consent. Setting it is kept for later runs. %FALSE cancels requests, drops reports that were not sent, and
 * removes messages from the screen. It is also %FALSE while consent is required and not given.
 */

/**
 * OqsdkMessages:require-consent:
 *
 * Whether nothing is sent, stored or shown before #OqsdkMessages:consent was set to %TRUE, in this run or an earlier
 * one. oqsdk_messages_start() reads it.
 */

/**
 * OqsdkMessages:server-from-environment:
 *
 * Whether the environment variable OQSDK_SERVER may replace the server's address. oqsdk_messages_start() reads it.
 */

/**
 * OqsdkMessages:one-at-a-time:
 *
 * Whether other messages are neither shown nor counted while a message is on screen or about to appear. By default a
 * newer message appears on top.
 */

/**
 * OqsdkMessages::shown:
 * @self: the library
 * @message: the message
 *
 * The message is completely on screen.
 */

/**
 * OqsdkMessages::shown-without-picture:
 * @self: the library
 * @message: the message
 *
 * The message is on screen, but its picture could not be loaded. Follows #OqsdkMessages::shown.
 */

/**
 * OqsdkMessages::clicked:
 * @self: the library
 * @message: the message
 * @part: what was clicked
 *
 * The user clicked a part of the message, which is gone now. #OqsdkMessages::link follows if the part has a link.
 */

/**
 * OqsdkMessages::closed:
 * @self: the library
 * @message: the message
 *
 * The user closed the message.
 */

/**
 * OqsdkMessages::removed:
 * @self: the library
 * @message: the message
 *
 * The library removed the message: it was dismissed, another user was set, consent was withdrawn, or the user was
 * forgotten.
 */

/**
 * OqsdkMessages::link:
 * @self: the library
 * @message: the message
 * @url: the link
 *
 * A link was clicked. The first handler that returns %TRUE ends the emission.
 *
 * Returns: %TRUE if the program has handled the link. Otherwise the library opens it.
 */

/**
 * OqsdkMessages::may-show:
 * @self: the library
 * @message: the message
 *
 * Asks whether a message may be shown, before it is counted. It is emitted on the thread that recorded the event, or,
 * if the event had to wait for the campaigns, on a thread of the library. The first handler that returns %FALSE ends
 * the emission.
 *
 * Returns: %FALSE if the message is not to be shown; the event is used up and no other campaign is tried
 */

/**
 * oqsdk_messages_get_default:
 *
 * Returns: (transfer none): the object of this process
 */
OQ_API OqsdkMessages* oqsdk_messages_get_default(void);

/**
 * oqsdk_messages_start:
 * @self: the library
 * @app_key: the application key that the server has issued
 * @server: (nullable): for example "https://messages.example.com"; %NULL: the address that was built in
 * @error: why it failed
 *
 * Starts the library and logs in; a later call logs in again. Signals are emitted from now on.
 *
 * Returns: whether it succeeded
 */
OQ_API gboolean oqsdk_messages_start(OqsdkMessages* self, const char* app_key, const char* server, GError** error);

/**
 * oqsdk_messages_set_environment:
 * @self: the library
 * @environment: the environment
 * @error: why it failed
 *
 * Chooses the environment whose server is used, also for later runs. Call it before oqsdk_messages_start(). Main
 * thread.
 *
 * Returns: whether it succeeded
 */
OQ_API gboolean oqsdk_messages_set_environment(OqsdkMessages* self, OqsdkEnvironment environment, GError** error);

/**
 * oqsdk_messages_set_server:
 * @self: the library
 * @environment: the environment
 * @url: an https URL with a host, and optionally a port and a path; "" restores the address that was built in
 * @error: why it failed
 *
 * Sets the server's address of an environment for this run.
 *
 * Returns: whether it succeeded
 */
OQ_API gboolean oqsdk_messages_set_server(OqsdkMessages* self, OqsdkEnvironment environment, const char* url,
                                          GError** error);

/**
 * oqsdk_messages_set_user:
 * @self: the library
 * @user: the user's id
 * @error: why it failed
 *
 * Sets the user for whom campaigns are fetched, also for later runs. Best called before oqsdk_messages_start(). The
 * messages and campaigns of another user are removed; how often each campaign was shown on this device is kept.
 *
 * Returns: whether it succeeded
 */
OQ_API gboolean oqsdk_messages_set_user(OqsdkMessages* self, const char* user, GError** error);

/**
 * oqsdk_messages_record:
 * @self: the library
 * @event: the event's name
 * @properties: (nullable): a dictionary with strings as keys (a{sv}). Its values are strings, numbers, booleans, and
 *   arrays and dictionaries of these
 * @error: why it failed
 *
 * Records an event now. A campaign may show a message for it.
 *
 * Returns: whether it succeeded
 */
OQ_API gboolean oqsdk_messages_record(OqsdkMessages* self, const char* event, GVariant* properties, GError** error);

/**
 * oqsdk_messages_record_json:
 * @self: the library
 * @event: the event's name
 * @properties: (nullable): a JSON object
 * @error: why it failed
 *
 * The same with properties in JSON.
 *
 * Returns: whether it succeeded
 */
OQ_API gboolean oqsdk_messages_record_json(OqsdkMessages* self, const char* event, const char* properties,
                                           GError** error);

/**
 * oqsdk_messages_page_shown:
 * @self: the library
 * @name: the page's name in the campaigns, for example "CartPage"
 * @error: why it failed
 *
 * Reports that a page of the application has appeared. Call it after oqsdk_messages_start(). Main thread.
 *
 * Returns: whether it succeeded
 */
OQ_API gboolean oqsdk_messages_page_shown(OqsdkMessages* self, const char* name, GError** error);

/**
 * oqsdk_messages_page_hidden:
 * @self: the library
 * @name: the name of a page that was shown
 * @error: why it failed
 *
 * Reports that the page has disappeared; if several pages with this name are shown, the newest one. Main thread.
 *
 * Returns: whether it succeeded
 */
OQ_API gboolean oqsdk_messages_page_hidden(OqsdkMessages* self, const char* name, GError** error);

/**
 * oqsdk_messages_dismiss:
 * @self: the library
 * @error: why it failed
 *
 * Removes the newest message on screen. Nothing is reported, and it does not count as closed by the user.
 *
 * Returns: whether it succeeded, also if there was no message
 */
OQ_API gboolean oqsdk_messages_dismiss(OqsdkMessages* self, GError** error);

/**
 * oqsdk_messages_refresh:
 * @self: the library
 * @error: why it failed
 *
 * Fetches the campaigns now, even if they were fetched today. Does nothing before the login was answered, or without a
 * user.
 *
 * Returns: whether it succeeded
 */
OQ_API gboolean oqsdk_messages_refresh(OqsdkMessages* self, GError** error);

/**
 * oqsdk_messages_flush:
 * @self: the library
 * @seconds: the longest time to wait, 0 or more
 * @error: why it failed
 *
 * Waits until the server has acknowledged all reports. This blocks the calling thread.
 *
 * Returns: the number of reports that were not sent; -1 after an error
 */
OQ_API gssize oqsdk_messages_flush(OqsdkMessages* self, double seconds, GError** error);

/**
 * oqsdk_messages_forget:
 * @self: the library
 * @keep_device: whether to keep the identifiers of this installation
 * @error: why it failed
 *
 * Removes everything that the library has stored about the user and the device. Keeps the environment and a withdrawn
 * consent. May wait some seconds for the keychain. Nothing is fetched before oqsdk_messages_start() is called again.
 *
 * Returns: whether it succeeded
 */
OQ_API gboolean oqsdk_messages_forget(OqsdkMessages* self, gboolean keep_device, GError** error);

/**
 * oqsdk_messages_set_log_file_limit:
 * @self: the library
 * @bytes: the size of a full log file; 0 writes no files
 * @error: why it failed
 *
 * Limits the size of each log file; a full file is followed by a new one, and at most ten are kept. By default each run
 * writes one file without a limit.
 *
 * Returns: whether it succeeded
 */
OQ_API gboolean oqsdk_messages_set_log_file_limit(OqsdkMessages* self, guint64 bytes, GError** error);

G_END_DECLS
#endif

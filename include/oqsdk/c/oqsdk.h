/* SPDX-License-Identifier: Apache-2.0 */
#ifndef OQSDK_C_OQSDK_H
#define OQSDK_C_OQSDK_H

/* OQSDK for C, and for every language that can call C. Link with liboqsdk-c.
 *
 * With a window of a toolkit that has a host (GTK: <oqsdk/c/gtk.h>), attach the window, then:
 *
 *     oq_start_options options = OQ_START_OPTIONS_INIT;
 *     options.app_key = "my-application";
 *     options.server = "https://messages.example.com";
 *     oq_set_user("user-1");
 *     oq_start(&options);
 *     oq_record("start", NULL);
 *
 * Any other program calls oq_init(), makes a surface for its window, and calls oq_pump() in its loop.
 *
 * Errors: a function that returns oq_result returns OQ_OK or an error. A function that returns a pointer returns NULL
 * after an error. Other functions name their value for an error. A call that fails changes nothing, unless something
 * else is written at the function, and oq_last_error() returns the reason. No call throws an exception, and none ends
 * the process, with one exception: if memory runs out, a call that fails may have done a part of its work, and
 * oq_pump(), oq_shutdown() and oq_surface_free() may end the process.
 *
 * Threads: a function may be called on any thread unless "Main thread" is written at its declaration. The main thread
 * is the one that called oq_init() or attached the first window.
 *
 * A parameter of an enum, for example oq_key, is an int, so that any other number is an error and not undefined.
 *
 * Strings are UTF-8 with a NUL at the end. The library copies strings that it receives. Strings and structs that a
 * callback receives are valid until the callback returns.
 *
 * Structs begin with their own size, which the INIT macros set, so that later versions can append fields. A program
 * that was compiled with a newer header than the library may leave the new fields at 0. No struct has padding at its
 * end.
 *
 * `data` and `release`: each set of callbacks has a pointer of the caller, which every callback receives, and an
 * optional function that is called once when no callback will use the pointer again. `release` may be called on any
 * thread, also by the call that replaces the callbacks. If the function that received them fails, `release` is not
 * called.
 *
 * A pointer to a struct that is not defined here is a handle: a number and not an address. A handle that was freed is
 * never valid again. */

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define OQ_API __attribute__((visibility("default")))

/** The version of this interface, and of the library's soname. Functions and fields may be added to it; none changes.
 */
#define OQ_INTERFACE 1

/** The result of a call. */
typedef enum oq_result {
  OQ_OK = 0,
  OQ_ERROR_ARGUMENT = 1, /**< an argument is not valid */
  OQ_ERROR_THREAD = 2,   /**< the function must be called on the main thread */
  OQ_ERROR_STATE = 3,    /**< not possible now: no host, not started, after oq_shutdown(), or inside a callback */
  OQ_ERROR_MEMORY = 4,   /**< out of memory */
  OQ_ERROR_INTERNAL = 5  /**< anything else, for example a file that cannot be written */
} oq_result;

/** The library's version, for example "1.2.3". Valid until the process ends. */
OQ_API const char* oq_version(void);
/** Why the last call on this thread failed, in plain English; "" if it succeeded. Valid until the next call on this
 * thread. At most 255 bytes. */
OQ_API const char* oq_last_error(void);

/* ---- A program without a host of ours ---- */

/** What oq_init() needs. */
typedef struct oq_init_options {
  size_t size;             /**< of this struct; the INIT macro sets it */
  const char* application; /**< required: reverse-domain identifier; names the data folder and is written into logs */
  const char* version;     /**< of the application, for logs; may be NULL */
  const char* data_folder; /**< for everything that is stored; NULL: the XDG data folder of the application */
  bool no_animations;      /**< messages open and close at once */
  uint8_t reserved[7];     /**< 0 */
} oq_init_options;
#define OQ_INIT_OPTIONS_INIT                            \
  {                                                     \
    sizeof(oq_init_options), NULL, NULL, NULL, false, { \
      0                                                 \
    }                                                   \
  }

/** Installs a host that the program drives with oq_pump(). The calling thread becomes the main thread. Fails if a host
 * was installed already, also by a toolkit. */
OQ_API oq_result oq_init(const oq_init_options* options);
/** Frees all surfaces and pages, removes all callbacks, and uninstalls the host of oq_init(). Afterwards only
 * oq_init(), oq_version() and oq_last_error() work. Waits for a call of oq_start() on another thread. Reports that were
 * not sent are sent in a later run if the server supports that; see oq_flush(). In a program with a toolkit's host it
 * only frees the pages and removes the callbacks. What oq_hold(), oq_set_one_at_a_time(), oq_set_server() and
 * oq_set_log_file_limit() have set stays. Fails inside a callback. Main thread. */
OQ_API oq_result oq_shutdown(void);

/** Runs the library's work on the main thread, for about `budget` seconds (0 or more); moves animations on. Call it
 * once in each pass of the program's loop, before painting. Returns the seconds after which it wants to be called
 * again: 0 if work is left, infinity if nothing is scheduled; -1 after an error, for example inside a callback. It must
 * also be called after a wake. Main thread. */
OQ_API double oq_pump(double budget);
/** `wake` is called, on any thread, each time there is work for oq_pump(). It should only wake the program's loop, and
 * must not call the library. NULL removes it; afterwards it is not running any more. Main thread. */
OQ_API oq_result oq_on_wake(void (*wake)(void* data), void* data, void (*release)(void* data));

/* ---- Start, user, events ---- */

/** What oq_start() needs. */
typedef struct oq_start_options {
  size_t size;                  /**< of this struct; the INIT macro sets it */
  const char* app_key;          /**< required: the application key that the server has issued */
  const char* server;           /**< for example "https://messages.example.com"; NULL: the address that was built in */
  bool server_from_environment; /**< the environment variable OQSDK_SERVER may replace the address */
  bool require_consent; /**< nothing is sent, stored or shown before oq_give_consent(), in this run or an earlier
                           one */
  bool one_at_a_time;   /**< see oq_set_one_at_a_time() */
  uint8_t reserved[5];  /**< 0 */
} oq_start_options;
#define OQ_START_OPTIONS_INIT                                    \
  {                                                              \
    sizeof(oq_start_options), NULL, NULL, false, false, false, { \
      0                                                          \
    }                                                            \
  }

/** Starts the library and logs in; a later call logs in again. On another thread than the main thread the first call
 * waits until the main thread runs its loop. */
OQ_API oq_result oq_start(const oq_start_options* options);

/** The servers for different purposes; each has an address of its own. */
typedef enum oq_environment {
  OQ_ENVIRONMENT_PRODUCTION = 0,
  OQ_ENVIRONMENT_TEST = 1,
  OQ_ENVIRONMENT_DEVELOPMENT = 2
} oq_environment;
/** Chooses the environment (oq_environment) whose server is used, also for later runs. Call it before oq_start(). Main
 * thread. */
OQ_API oq_result oq_set_environment(int environment);
/** Sets the server's address of an environment (oq_environment) for this run: an https URL with a host, and optionally
 * a port and a path that is put before the paths of all requests. "" restores the address that was built in. */
OQ_API oq_result oq_set_server(int environment, const char* url);
/** Sets the user for whom campaigns are fetched, also for later runs. Best called before oq_start(). The messages and
 * campaigns of another user are removed; how often each campaign was shown on this device is kept. */
OQ_API oq_result oq_set_user(const char* user);
/** Records an event now. A campaign may show a message for it. `properties` is a JSON object, or NULL for none. */
OQ_API oq_result oq_record(const char* event, const char* properties);
/** Reports a push message of the application that was delivered or opened. `message` is its JSON object, of which
 * "$push_channel" and "activityId" are reported; or NULL for none. */
OQ_API oq_result oq_track_push(bool opened, const char* message);

/** A page of the application. */
typedef struct oq_page oq_page;
/** Reports that a page has appeared. `name` is the page's name in the campaigns, for example "CartPage". Call it after
 * oq_start(). The caller owns the page. Main thread. */
OQ_API oq_page* oq_page_show(const char* name);
/** Reports that the page has disappeared, and frees it. NULL is allowed. Main thread. */
OQ_API oq_result oq_page_hide(oq_page* page);

/* ---- What happens to messages ---- */

/** What happened to a message. The numbers are those of the reports. */
typedef enum oq_action {
  OQ_SHOWN = 1,
  OQ_PICTURE = 2,      /**< the user clicked the picture */
  OQ_CLOSED = 3,       /**< the user closed the message */
  OQ_LEFT_BUTTON = 4,  /**< the user clicked the left button */
  OQ_RIGHT_BUTTON = 5, /**< the user clicked the right button */
  OQ_MIDDLE_BUTTON = 6 /**< the user clicked the only button of style 2 */
} oq_action;

/** A message, as the callbacks receive it. */
typedef struct oq_message {
  size_t size;          /**< of this struct; the INIT macro sets it */
  const char* campaign; /**< the campaign's id, as the server sent it */
  const char* event;    /**< the name of the event that caused the message */
  int32_t style;        /**< 1 picture, 2 picture and text, 3 text with two buttons, 4 web page */
  uint8_t reserved[4];  /**< 0 */
} oq_message;

/** Reports what the user did with a message that the program draws itself. */
typedef struct oq_reporter oq_reporter;

/** Each callback may be NULL. All but `may_show` are called on the main thread; `may_show` is called on the thread that
 * recorded the event, or, if the event had to wait for the campaigns, on a thread of the library. A callback
 * may call any function except oq_pump() and oq_shutdown(). */
typedef struct oq_handlers {
  size_t size;                 /**< of this struct; the INIT macro sets it */
  void* data;                  /**< passed to each callback */
  void (*release)(void* data); /**< called when no callback will use `data` again; may be NULL */
  /** Asked before a message is counted. false: it is not shown, the event is used up and no other campaign is tried. */
  bool (*may_show)(const oq_message* message, void* data);
  /** The message is completely on screen. */
  void (*shown)(const oq_message* message, void* data);
  /** The message is on screen, but its picture could not be loaded. Called after `shown`. */
  void (*shown_without_picture)(const oq_message* message, void* data);
  /** The user clicked a part of the message, which is gone now. `link` follows if the part has a link. */
  void (*clicked)(const oq_message* message, oq_action part, void* data);
  /** The user closed the message. */
  void (*closed)(const oq_message* message, void* data);
  /** The library removed the message: it was dismissed, another user was set, consent was withdrawn, or the user was
   * forgotten. */
  void (*removed)(const oq_message* message, void* data);
  /** A link was clicked. true: the program has handled it. Otherwise the library opens it. */
  bool (*link)(const oq_message* message, const char* url, void* data);
  /** Draws the message in place of the library. `content` is a JSON object in the form of the campaign file. true: the
   * program shows the message, owns the reporter, and frees it with oq_reporter_free() when the message is gone.
   * false: the library shows the message and frees the reporter. */
  bool (*present)(const oq_message* message, const char* content, oq_reporter* reporter, void* data);
} oq_handlers;
#define OQ_HANDLERS_INIT \
  { sizeof(oq_handlers), NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL }

/** Replaces all callbacks; NULL removes them. A former callback may still be running on another thread when this
 * returns; its `release` is called after that. */
OQ_API oq_result oq_set_handlers(const oq_handlers* handlers);
/** Reports the action (oq_action); a click also opens the link of that part. The first report must be OQ_SHOWN; any
 * other action ends the message. Fails in any other order, after the end, and when the library has removed the message.
 */
OQ_API oq_result oq_reporter_report(oq_reporter* reporter, int action);
/** The message counts as gone. NULL is allowed. */
OQ_API oq_result oq_reporter_free(oq_reporter* reporter);

/** From now on no message appears. Events that match are used up and not counted. A message that was counted before,
 * but is not on screen yet, waits for oq_resume(). */
OQ_API oq_result oq_hold(void);
/** Ends oq_hold(). Waiting messages appear. */
OQ_API oq_result oq_resume(void);
/** Whether oq_hold() was called last; false after an error. */
OQ_API bool oq_is_held(void);
/** While a message is on screen or about to appear, other messages are neither shown nor counted. By default a newer
 * message appears on top. */
OQ_API oq_result oq_set_one_at_a_time(bool one_at_a_time);
/** Removes the newest message on screen. Nothing is reported, and it does not count as closed by the user. */
OQ_API oq_result oq_dismiss(void);

/* ---- Consent, data, log ---- */

/** Gives the user's consent, and keeps it for later runs. If oq_start() was called, the library logs in. If this fails
 * with OQ_ERROR_INTERNAL, the consent could not be stored and holds in this run only. */
OQ_API oq_result oq_give_consent(void);
/** Withdraws it, also for later runs; OQ_ERROR_INTERNAL means that this could not be stored, and holds in this run
 * only. Requests are cancelled, reports that were not sent are dropped, and messages are
 * removed from the screen without a report. Everything else that is stored stays; see oq_forget(). */
OQ_API oq_result oq_withdraw_consent(void);
/** False while consent is required and not given, when it is withdrawn, and after an error. */
OQ_API bool oq_has_consent(void);
/** Removes everything that the library has stored about the user and the device; with `keep_device` the identifiers of
 * this installation are kept. Keeps the environment and a withdrawn consent. May wait some seconds for the keychain.
 * Nothing is fetched before oq_start() is called again. */
OQ_API oq_result oq_forget(bool keep_device);
/** Fetches the campaigns now, even if they were fetched today. Does nothing before the login was answered, or without a
 * user. */
OQ_API oq_result oq_refresh(void);
/** Waits until the server has acknowledged all reports, at most this many seconds (0 or more). `unsent`, if not NULL,
 * is set to the number of reports that were not sent. */
OQ_API oq_result oq_flush(double seconds, size_t* unsent);

/** Calls `decision` for each of the newest decisions about events, oldest first, before this function returns: which
 * message an event has shown, or why it has shown none. `json` is an object with "time" (milliseconds since 1970),
 * "event", "windowId" (the campaign's id, or null) and "outcome", a sentence. */
OQ_API oq_result oq_list_decisions(void (*decision)(const char* json, void* data), void* data);

/** The kind of an entry of the log. */
typedef enum oq_log_level { OQ_LOG_INFO = 0, OQ_LOG_ERROR = 1 } oq_log_level;
/** Passes each entry of the library's log to the handler, on the thread that logs; NULL removes it. Waits for a call
 * that is running on another thread. `entry` ends with a NUL and contains no token. */
OQ_API oq_result oq_set_log_handler(void (*handler)(oq_log_level level, const char* entry, void* data), void* data,
                                    void (*release)(void* data));
/** Limits each log file to this many bytes; a full file is followed by a new one, and at most ten are kept. 0 writes no
 * files. By default each run writes one file without a limit. */
OQ_API oq_result oq_set_log_file_limit(uint64_t bytes);

/* ---- A surface: the layer with the messages in one window of a program without a host of ours ----
 *
 * Positions and lengths are in points of the window, from its upper left corner. Pixels are points times
 * `pixels_per_point`. All functions belong to the main thread, and fail for a surface that was freed. */

typedef struct oq_surface oq_surface;

/** What oq_surface_new() needs. */
typedef struct oq_surface_options {
  size_t size;             /**< of this struct; the INIT macro sets it */
  double width;            /**< of the window, in points, up to 32767; width and height are 0 while unknown */
  double height;           /**< of the window, in points, up to 32767 */
  double pixels_per_point; /**< more than 0, up to 100 */
  double maximum_scale; /**< messages are laid out on a stage 375 points wide, which is enlarged at most by this factor
                           in a window that is not upright; more than 0, up to 100 */
  void* data;           /**< passed to each callback */
  void (*release)(void* data); /**< called when no callback will use `data` again; may be NULL */
  /** Call oq_surface_paint() soon. May be NULL if the program paints continuously. */
  void (*frame_wanted)(oq_surface* surface, void* data);
  /** The views have changed: look at oq_surface_state() again. May be NULL. */
  void (*changed)(oq_surface* surface, void* data);
} oq_surface_options;
#define OQ_SURFACE_OPTIONS_INIT \
  { sizeof(oq_surface_options), 0, 0, 1, 1.5, NULL, NULL, NULL, NULL }

/** The caller owns the surface. It is visible and focused at first. Needs oq_init(). */
OQ_API oq_surface* oq_surface_new(const oq_surface_options* options);
/** Removes the surface from the screen. Its callbacks are not called any more. Allowed inside a callback. NULL is
 * allowed. */
OQ_API oq_result oq_surface_free(oq_surface* surface);
/** The window has another size, or another scale. */
OQ_API oq_result oq_surface_set_size(oq_surface* surface, double width, double height, double pixels_per_point);
/** Whether the window is mapped and not minimised. Messages are shown in visible windows only. */
OQ_API oq_result oq_surface_set_visible(oq_surface* surface, bool visible);
/** Whether the window has the keyboard focus. The window that got it last is the one in which messages appear. */
OQ_API oq_result oq_surface_set_focused(oq_surface* surface, bool focused);

/** Memory of the caller into which a frame is painted. */
typedef struct oq_buffer {
  size_t size; /**< of this struct; the INIT macro sets it */
  /** Pixels of 32 bits in the processor's byte order: alpha in the highest byte, then red, green and blue, each
   * multiplied by alpha. Half-transparent white is 0x80808080. */
  uint32_t* pixels;
  int32_t width;         /**< in pixels; oq_surface_pixel_size() covers the whole window */
  int32_t height;        /**< in pixels */
  int32_t stride;        /**< bytes from one row to the next: a multiple of 4, and at least 4 * width */
  bool holds_last_frame; /**< the buffer still contains what the last call painted; false for a new buffer, and if two
                            buffers take turns */
  uint32_t background;   /**< the pixel behind the library's views; 0: transparent */
  uint8_t reserved[4];   /**< 0 */
} oq_buffer;
#define OQ_BUFFER_INIT                            \
  {                                               \
    sizeof(oq_buffer), NULL, 0, 0, 0, false, 0, { \
      0                                           \
    }                                             \
  }
/** A part of a buffer. */
typedef struct oq_rect {
  int32_t x;      /**< of the left edge, in pixels of the buffer */
  int32_t y;      /**< of the upper edge */
  int32_t width;  /**< 0: nothing */
  int32_t height; /**< 0: nothing */
} oq_rect;
/** What a call of oq_surface_paint() has found. */
typedef enum oq_frame {
  OQ_FRAME_ERROR = -1,
  OQ_FRAME_NOTHING = 0, /**< there is nothing to show: the buffer contains only the background */
  OQ_FRAME_SAME = 1,    /**< the buffer already contained this frame */
  OQ_FRAME_CHANGED = 2
} oq_frame;
/** Paints what has changed since the last call. `damage` is set to the part of the buffer that was written; it can be
 * non-empty with any result but OQ_FRAME_SAME. It may be NULL. */
OQ_API oq_frame oq_surface_paint(oq_surface* surface, const oq_buffer* buffer, oq_rect* damage);
/** The size of a buffer for the whole window: 1 to 32767. */
OQ_API oq_result oq_surface_pixel_size(oq_surface* surface, int32_t* width, int32_t* height);

enum {
  OQ_SURFACE_EMPTY = 1,     /**< there is nothing to show, now or soon; the program may hide its layer */
  OQ_SURFACE_ANIMATING = 2, /**< paint each frame of the display */
  OQ_SURFACE_DIALOG = 4     /**< a message covers the window; pass keys to oq_surface_key() first */
};
/** Any of these flags; 0 after an error. */
OQ_API uint32_t oq_surface_state(oq_surface* surface);

/** The input functions return at once whether the library consumes the event. If so, the program ignores it. They
 * return false after an error. */
/** The phase of a touch. */
typedef enum oq_touch { OQ_TOUCH_BEGAN = 0, OQ_TOUCH_MOVED = 1, OQ_TOUCH_ENDED = 2, OQ_TOUCH_CANCELLED = 3 } oq_touch;
/** A touch, or a press of the primary mouse button. `phase` is an oq_touch. `finger` is any number that distinguishes
 * fingers. A press counts as use of the window. */
OQ_API bool oq_surface_touch(oq_surface* surface, int64_t finger, int phase, double x, double y);
/** The pointer has moved with no button pressed, or, with `inside` false, has left the window. Returns whether a press
 * there has an effect; then the pointer should be a hand. */
OQ_API bool oq_surface_pointer(oq_surface* surface, bool inside, double x, double y);
/** Scrolls by dx and dy points at this position. */
OQ_API bool oq_surface_scroll(oq_surface* surface, double x, double y, double dx, double dy);
/** The keys that messages handle. */
typedef enum oq_key {
  OQ_KEY_TAB = 0,
  OQ_KEY_BACK_TAB = 1,
  OQ_KEY_RETURN = 2,
  OQ_KEY_ESCAPE = 3,
  OQ_KEY_BACK = 4, /**< Alt+Left on most keyboards */
  OQ_KEY_UP = 5,
  OQ_KEY_DOWN = 6,
  OQ_KEY_PAGE_UP = 7,
  OQ_KEY_PAGE_DOWN = 8,
  OQ_KEY_HOME = 9,
  OQ_KEY_END = 10,
  OQ_KEY_OTHER = 11 /**< any other key: consumed while a message covers the window */
} oq_key;
/** A key (oq_key) was pressed. */
OQ_API bool oq_surface_key(oq_surface* surface, int key);
/** Whether the library consumes a touch at this point. */
OQ_API bool oq_surface_covers(oq_surface* surface, double x, double y);

/** What kind of element it is. */
typedef enum oq_role {
  OQ_ROLE_DIALOG = 0,
  OQ_ROLE_BUTTON = 1,
  OQ_ROLE_LINK = 2,
  OQ_ROLE_HEADING = 3,
  OQ_ROLE_IMAGE = 4,
  OQ_ROLE_TEXT = 5
} oq_role;
/** A part of the surface as assistive technology presents it. */
typedef struct oq_element {
  size_t size;             /**< of this struct; the INIT macro sets it */
  uint64_t id;             /**< stays the same while the element exists, and is not used again */
  oq_role role;            /**< what kind of element it is */
  const char* name;        /**< what is spoken */
  const char* description; /**< of a dialog: its texts; else "" */
  double x;                /**< of the left edge, in points of the window; may lie outside it */
  double y;                /**< of the upper edge */
  double width;            /**< in points */
  double height;           /**< in points */
  bool takes_input;        /**< a button or link that oq_surface_activate() presses */
  bool is_enabled;         /**< only enabled elements can be pressed */
  bool is_focused;         /**< it has the keyboard focus of the surface */
  uint8_t reserved[5];     /**< 0 */
} oq_element;
/** Calls `element` for each element in reading order, before this function returns. A dialog comes before its elements;
 * while it is shown, there are no others. */
OQ_API oq_result oq_surface_list_elements(oq_surface* surface, void (*element)(const oq_element* element, void* data),
                                          void* data);
/** Presses an element. False if that has no effect: the element does not exist any more, takes no input, is disabled,
 * or is covered by a dialog. */
OQ_API bool oq_surface_activate(oq_surface* surface, uint64_t element);

#ifdef __cplusplus
}
#endif
#endif

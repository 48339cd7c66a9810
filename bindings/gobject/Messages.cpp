// SPDX-License-Identifier: Apache-2.0
#include <mutex>
#include <utility>

#include "Json.h"
#include "oqsdk/c/gobject.h"

GQuark oqsdk_error_quark(void) {
  return g_quark_from_static_string("oqsdk-error-quark");
}

G_DEFINE_ENUM_TYPE(OqsdkError, oqsdk_error, G_DEFINE_ENUM_VALUE(OQSDK_ERROR_ARGUMENT, "argument"),
                   G_DEFINE_ENUM_VALUE(OQSDK_ERROR_THREAD, "thread"), G_DEFINE_ENUM_VALUE(OQSDK_ERROR_STATE, "state"),
                   G_DEFINE_ENUM_VALUE(OQSDK_ERROR_MEMORY, "memory"),
                   G_DEFINE_ENUM_VALUE(OQSDK_ERROR_INTERNAL, "internal"))
G_DEFINE_ENUM_TYPE(OqsdkPart, oqsdk_part, G_DEFINE_ENUM_VALUE(OQSDK_PART_PICTURE, "picture"),
                   G_DEFINE_ENUM_VALUE(OQSDK_PART_LEFT_BUTTON, "left-button"),
                   G_DEFINE_ENUM_VALUE(OQSDK_PART_RIGHT_BUTTON, "right-button"),
                   G_DEFINE_ENUM_VALUE(OQSDK_PART_MIDDLE_BUTTON, "middle-button"))
G_DEFINE_ENUM_TYPE(OqsdkEnvironment, oqsdk_environment, G_DEFINE_ENUM_VALUE(OQSDK_ENVIRONMENT_PRODUCTION, "production"),
                   G_DEFINE_ENUM_VALUE(OQSDK_ENVIRONMENT_TEST, "test"),
                   G_DEFINE_ENUM_VALUE(OQSDK_ENVIRONMENT_DEVELOPMENT, "development"))
G_DEFINE_BOXED_TYPE(OqsdkMessage, oqsdk_message, oqsdk_message_copy, oqsdk_message_free)

OqsdkMessage* oqsdk_message_copy(const OqsdkMessage* message) {
  g_return_val_if_fail(message, nullptr);
  auto* copy = g_new(OqsdkMessage, 1);
  *copy = {g_strdup(message->campaign), g_strdup(message->event), message->style};
  return copy;
}

void oqsdk_message_free(OqsdkMessage* message) {
  if (!message) return;
  g_free(const_cast<char*>(message->campaign));
  g_free(const_cast<char*>(message->event));
  g_free(message);
}

namespace {

struct Page {
  char* name;
  oq_page* page;
};

void freePage(Page* page) {
  g_free(page->name);
  g_free(page);
}

enum Property { kUser = 1, kHeld, kConsent, kRequireConsent, kServerFromEnvironment, kOneAtATime, kPropertyCount };
enum Signal { kShown, kShownWithoutPicture, kClicked, kClosed, kRemoved, kLink, kMayShow, kSignalCount };
GParamSpec* properties[kPropertyCount];
guint signals[kSignalCount];

/// Guards the pointer to the object of this process.
std::mutex defaultMutex;
OqsdkMessages* defaultMessages = nullptr;

}  // namespace

struct _OqsdkMessages {
  GObject parent_instance;
  GMutex mutex;  // guards the members below; not held during a call of the library
  char* user;
  GList* pages;  // of Page; the newest is first
  bool requiresConsent, takesServerFromEnvironment, isOneAtATime, hasHandlers;
};

struct _OqsdkMessagesClass {
  GObjectClass parent_class;
};

G_DEFINE_FINAL_TYPE(OqsdkMessages, oqsdk_messages, G_TYPE_OBJECT)

namespace {

class Lock {
 public:
  explicit Lock(OqsdkMessages* self) : _mutex(&self->mutex) { g_mutex_lock(_mutex); }
  ~Lock() { g_mutex_unlock(_mutex); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  GMutex* _mutex;
};

gboolean isDone(oq_result result, GError** error) {
  if (result == OQ_OK) return TRUE;
  g_set_error_literal(error, OQSDK_ERROR, result, oq_last_error());
  return FALSE;
}

// ---- From the library's callbacks to signals ----

OqsdkMessage described(const oq_message* message) {
  return {message->campaign, message->event, message->style};
}

template <Signal signal>
void emit(const oq_message* message, void* self) {
  const OqsdkMessage copy = described(message);
  g_signal_emit(self, signals[signal], 0, &copy);
}

void emitClicked(const oq_message* message, oq_action part, void* self) {
  const OqsdkMessage copy = described(message);
  g_signal_emit(self, signals[kClicked], 0, &copy, static_cast<OqsdkPart>(part));
}

bool emitLink(const oq_message* message, const char* url, void* self) {
  const OqsdkMessage copy = described(message);
  gboolean isHandled = FALSE;
  g_signal_emit(self, signals[kLink], 0, &copy, url, &isHandled);
  return isHandled;
}

bool emitMayShow(const oq_message* message, void* self) {
  const OqsdkMessage copy = described(message);
  gboolean mayShow = TRUE;
  g_signal_emit(self, signals[kMayShow], 0, &copy, &mayShow);
  return mayShow;
}

/// The callbacks have a reference of their own, so that the object exists while one of them runs on another thread.
oq_result installHandlers(OqsdkMessages* self) {
  oq_handlers handlers = OQ_HANDLERS_INIT;
  handlers.data = g_object_ref(self);
  handlers.release = g_object_unref;
  handlers.may_show = emitMayShow;
  handlers.shown = emit<kShown>;
  handlers.shown_without_picture = emit<kShownWithoutPicture>;
  handlers.clicked = emitClicked;
  handlers.closed = emit<kClosed>;
  handlers.removed = emit<kRemoved>;
  handlers.link = emitLink;
  const oq_result result = oq_set_handlers(&handlers);
  if (result != OQ_OK) g_object_unref(self);
  return result;
}

void removeHandlers(OqsdkMessages* self) {
  bool hasHandlers = false;
  {
    const Lock lock(self);
    std::swap(hasHandlers, self->hasHandlers);
  }
  if (hasHandlers) oq_set_handlers(nullptr);
}

/// Ends the emission at the first FALSE.
gboolean accumulateAll(GSignalInvocationHint*, GValue* result, const GValue* returned, gpointer) {
  g_value_copy(returned, result);
  return g_value_get_boolean(returned);
}

gboolean allowMessage(OqsdkMessages*, const OqsdkMessage*) {
  return TRUE;
}

// ---- The object ----

void setUser(OqsdkMessages* self, const char* user) {
  {
    const Lock lock(self);
    g_free(self->user);
    self->user = g_strdup(user);
  }
  g_object_notify_by_pspec(G_OBJECT(self), properties[kUser]);
}

/// A property that is set cannot return an error.
void warn(oq_result result, const char* property) {
  if (result != OQ_OK) g_warning("The property \"%s\" could not be set: %s", property, oq_last_error());
}

void setOneAtATime(OqsdkMessages* self, bool value) {
  {
    const Lock lock(self);
    self->isOneAtATime = value;
  }
  // Before a window is attached, the start sets it.
  const oq_result result = oq_set_one_at_a_time(value);
  if (result != OQ_ERROR_STATE) warn(result, "one-at-a-time");
}

void setProperty(GObject* object, guint id, const GValue* value, GParamSpec* specification) {
  OqsdkMessages* self = OQSDK_MESSAGES(object);
  const bool isSet = G_VALUE_HOLDS_BOOLEAN(value) && g_value_get_boolean(value);
  switch (id) {
    case kUser: {
      g_autoptr(GError) error = nullptr;
      if (!oqsdk_messages_set_user(self, g_value_get_string(value), &error))
        g_warning("The property \"user\" could not be set: %s", error->message);
      return;
    }
    case kHeld:
      return warn(isSet ? oq_hold() : oq_resume(), "held");
    case kConsent:
      return warn(isSet ? oq_give_consent() : oq_withdraw_consent(), "consent");
    case kOneAtATime:
      return setOneAtATime(self, isSet);
    case kRequireConsent:
    case kServerFromEnvironment: {
      const Lock lock(self);
      (id == kRequireConsent ? self->requiresConsent : self->takesServerFromEnvironment) = isSet;
      return;
    }
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, specification);
  }
}

bool read(OqsdkMessages* self, bool _OqsdkMessages::*member) {
  const Lock lock(self);
  return self->*member;
}

char* copyUser(OqsdkMessages* self) {
  const Lock lock(self);
  return g_strdup(self->user);
}

void getProperty(GObject* object, guint id, GValue* value, GParamSpec* specification) {
  OqsdkMessages* self = OQSDK_MESSAGES(object);
  switch (id) {
    case kUser:
      return g_value_take_string(value, copyUser(self));
    case kHeld:
      return g_value_set_boolean(value, oq_is_held());
    case kConsent:
      return g_value_set_boolean(value, oq_has_consent());
    case kRequireConsent:
      return g_value_set_boolean(value, read(self, &_OqsdkMessages::requiresConsent));
    case kServerFromEnvironment:
      return g_value_set_boolean(value, read(self, &_OqsdkMessages::takesServerFromEnvironment));
    case kOneAtATime:
      return g_value_set_boolean(value, read(self, &_OqsdkMessages::isOneAtATime));
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, specification);
  }
}

/// Removes the newest page with this name from the list; nullptr if there is none.
Page* takePage(OqsdkMessages* self, const char* name) {
  const Lock lock(self);
  for (GList* link = self->pages; link; link = link->next) {
    auto* page = static_cast<Page*>(link->data);
    if (g_strcmp0(page->name, name) != 0) continue;
    self->pages = g_list_delete_link(self->pages, link);
    return page;
  }
  return nullptr;
}

/// There is one object in a process, also for a language that creates another. The process has a reference of its own.
GObject* construct(GType type, guint count, GObjectConstructParam* parameters) {
  const std::lock_guard lock(defaultMutex);
  if (defaultMessages) return G_OBJECT(g_object_ref(defaultMessages));
  GObject* object = G_OBJECT_CLASS(oqsdk_messages_parent_class)->constructor(type, count, parameters);
  defaultMessages = OQSDK_MESSAGES(g_object_ref(object));
  return object;
}

/// Afterwards the object emits nothing, its pages are hidden, and oqsdk_messages_get_default() creates another one.
void dispose(GObject* object) {
  OqsdkMessages* self = OQSDK_MESSAGES(object);
  removeHandlers(self);
  GList* pages = nullptr;
  {
    const Lock lock(self);
    std::swap(pages, self->pages);
  }
  for (GList* link = pages; link; link = link->next) oq_page_hide(static_cast<Page*>(link->data)->page);
  g_list_free_full(pages, reinterpret_cast<GDestroyNotify>(freePage));
  bool isDefault = false;
  {
    const std::lock_guard lock(defaultMutex);
    isDefault = defaultMessages == self;
    if (isDefault) defaultMessages = nullptr;
  }
  G_OBJECT_CLASS(oqsdk_messages_parent_class)->dispose(object);
  if (isDefault) g_object_unref(self);
}

void finalize(GObject* object) {
  OqsdkMessages* self = OQSDK_MESSAGES(object);
  g_free(self->user);
  g_mutex_clear(&self->mutex);
  G_OBJECT_CLASS(oqsdk_messages_parent_class)->finalize(object);
}

GParamSpec* flag(const char* name) {
  return g_param_spec_boolean(name, nullptr, nullptr, FALSE,
                              static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS));
}

template <class... Types>
guint newSignal(const char* name, Types... types) {
  return g_signal_new(name, OQSDK_TYPE_MESSAGES, G_SIGNAL_RUN_LAST, 0, nullptr, nullptr, nullptr, G_TYPE_NONE,
                      sizeof...(types) + 1, OQSDK_TYPE_MESSAGE | G_SIGNAL_TYPE_STATIC_SCOPE, types...);
}

}  // namespace

static void oqsdk_messages_init(OqsdkMessages* self) {
  g_mutex_init(&self->mutex);
}

static void oqsdk_messages_class_init(OqsdkMessagesClass* type) {
  GObjectClass* object = G_OBJECT_CLASS(type);
  object->constructor = construct;
  object->set_property = setProperty;
  object->get_property = getProperty;
  object->dispose = dispose;
  object->finalize = finalize;
  properties[kUser] = g_param_spec_string("user", nullptr, nullptr, nullptr,
                                          static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS));
  properties[kHeld] = flag("held");
  properties[kConsent] = flag("consent");
  properties[kRequireConsent] = flag("require-consent");
  properties[kServerFromEnvironment] = flag("server-from-environment");
  properties[kOneAtATime] = flag("one-at-a-time");
  g_object_class_install_properties(object, kPropertyCount, properties);

  signals[kShown] = newSignal("shown");
  signals[kShownWithoutPicture] = newSignal("shown-without-picture");
  signals[kClicked] = newSignal("clicked", OQSDK_TYPE_PART);
  signals[kClosed] = newSignal("closed");
  signals[kRemoved] = newSignal("removed");
  constexpr GType kStatic = G_SIGNAL_TYPE_STATIC_SCOPE;
  signals[kLink] =
      g_signal_new("link", OQSDK_TYPE_MESSAGES, G_SIGNAL_RUN_LAST, 0, g_signal_accumulator_true_handled, nullptr,
                   nullptr, G_TYPE_BOOLEAN, 2, OQSDK_TYPE_MESSAGE | kStatic, G_TYPE_STRING | kStatic);
  // The default handler is the answer if no other handler is connected.
  signals[kMayShow] =
      g_signal_new_class_handler("may-show", OQSDK_TYPE_MESSAGES, G_SIGNAL_RUN_LAST, G_CALLBACK(allowMessage),
                                 accumulateAll, nullptr, nullptr, G_TYPE_BOOLEAN, 1, OQSDK_TYPE_MESSAGE | kStatic);
}

OqsdkMessages* oqsdk_messages_get_default(void) {
  {
    const std::lock_guard lock(defaultMutex);
    if (defaultMessages) return defaultMessages;
  }
  auto* object = OQSDK_MESSAGES(g_object_new(OQSDK_TYPE_MESSAGES, nullptr));
  g_object_unref(object);  // the process's reference stays
  return object;
}

gboolean oqsdk_messages_start(OqsdkMessages* self, const char* app_key, const char* server, GError** error) {
  g_return_val_if_fail(OQSDK_IS_MESSAGES(self), FALSE);
  oq_start_options options = OQ_START_OPTIONS_INIT;
  options.app_key = app_key;
  options.server = server;
  // First, so that no event that another thread records is shown without its signals.
  if (!isDone(installHandlers(self), error)) return FALSE;
  bool hadHandlers = true;
  {
    const Lock lock(self);
    std::swap(hadHandlers, self->hasHandlers);
    options.require_consent = self->requiresConsent;
    options.server_from_environment = self->takesServerFromEnvironment;
    options.one_at_a_time = self->isOneAtATime;
  }
  const bool hadConsent = oq_has_consent();
  if (!isDone(oq_start(&options), error)) {
    if (!hadHandlers) removeHandlers(self);
    return FALSE;
  }
  if (oq_has_consent() != hadConsent) g_object_notify_by_pspec(G_OBJECT(self), properties[kConsent]);
  return TRUE;
}

gboolean oqsdk_messages_set_environment(OqsdkMessages* self, OqsdkEnvironment environment, GError** error) {
  g_return_val_if_fail(OQSDK_IS_MESSAGES(self), FALSE);
  return isDone(oq_set_environment(static_cast<int>(environment)), error);
}

gboolean oqsdk_messages_set_server(OqsdkMessages* self, OqsdkEnvironment environment, const char* url, GError** error) {
  g_return_val_if_fail(OQSDK_IS_MESSAGES(self), FALSE);
  return isDone(oq_set_server(static_cast<int>(environment), url), error);
}

gboolean oqsdk_messages_set_user(OqsdkMessages* self, const char* user, GError** error) {
  g_return_val_if_fail(OQSDK_IS_MESSAGES(self), FALSE);
  if (!isDone(oq_set_user(user), error)) return FALSE;
  setUser(self, user);
  return TRUE;
}

gboolean oqsdk_messages_record(OqsdkMessages* self, const char* event, GVariant* properties, GError** error) {
  g_return_val_if_fail(OQSDK_IS_MESSAGES(self), FALSE);
  if (!properties) return isDone(oq_record(event, nullptr), error);
  g_autoptr(GVariant) owned = g_variant_ref_sink(properties);
  g_autofree char* json = oq::gobject::jsonOf(owned, error);
  return json && isDone(oq_record(event, json), error);
}

gboolean oqsdk_messages_record_json(OqsdkMessages* self, const char* event, const char* properties, GError** error) {
  g_return_val_if_fail(OQSDK_IS_MESSAGES(self), FALSE);
  return isDone(oq_record(event, properties), error);
}

gboolean oqsdk_messages_page_shown(OqsdkMessages* self, const char* name, GError** error) {
  g_return_val_if_fail(OQSDK_IS_MESSAGES(self), FALSE);
  // Fails on another thread or without a host. Then only the name can be wrong.
  if (!isDone(oq_page_hide(nullptr), error)) return FALSE;
  oq_page* shown = oq_page_show(name);
  if (!shown) return isDone(OQ_ERROR_ARGUMENT, error);
  auto* page = g_new(Page, 1);
  *page = {g_strdup(name), shown};
  const Lock lock(self);
  self->pages = g_list_prepend(self->pages, page);
  return TRUE;
}

gboolean oqsdk_messages_page_hidden(OqsdkMessages* self, const char* name, GError** error) {
  g_return_val_if_fail(OQSDK_IS_MESSAGES(self), FALSE);
  if (!isDone(oq_page_hide(nullptr), error)) return FALSE;
  Page* page = takePage(self, name);
  if (!page) {
    g_set_error_literal(error, OQSDK_ERROR, OQSDK_ERROR_ARGUMENT, "No page with this name is shown.");
    return FALSE;
  }
  const gboolean isHidden = isDone(oq_page_hide(page->page), error);
  freePage(page);
  return isHidden;
}

gboolean oqsdk_messages_dismiss(OqsdkMessages* self, GError** error) {
  g_return_val_if_fail(OQSDK_IS_MESSAGES(self), FALSE);
  return isDone(oq_dismiss(), error);
}

gboolean oqsdk_messages_refresh(OqsdkMessages* self, GError** error) {
  g_return_val_if_fail(OQSDK_IS_MESSAGES(self), FALSE);
  return isDone(oq_refresh(), error);
}

gssize oqsdk_messages_flush(OqsdkMessages* self, double seconds, GError** error) {
  g_return_val_if_fail(OQSDK_IS_MESSAGES(self), -1);
  size_t unsent = 0;
  return isDone(oq_flush(seconds, &unsent), error) ? static_cast<gssize>(unsent) : -1;
}

gboolean oqsdk_messages_forget(OqsdkMessages* self, gboolean keep_device, GError** error) {
  g_return_val_if_fail(OQSDK_IS_MESSAGES(self), FALSE);
  if (!isDone(oq_forget(keep_device), error)) return FALSE;
  setUser(self, nullptr);
  return TRUE;
}

gboolean oqsdk_messages_set_log_file_limit(OqsdkMessages* self, guint64 bytes, GError** error) {
  g_return_val_if_fail(OQSDK_IS_MESSAGES(self), FALSE);
  return isDone(oq_set_log_file_limit(bytes), error);
}

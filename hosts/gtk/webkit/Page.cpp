// SPDX-License-Identifier: Apache-2.0
#include "Page.h"

#include <algorithm>
#include <utility>

#include "Session.h"

namespace oq::gtk {

namespace {

std::string textOf(const char* text) {
  return text ? text : "";
}

/// The value as JSON; "null" for a value that JSON cannot express.
std::string jsonOf(JSCValue* value) {
  char* json = value ? jsc_value_to_json(value, 0) : nullptr;
  std::string text = json ? json : "null";
  g_free(json);
  return text;
}

std::int64_t codeOf(const GError& error) {
  if (error.domain == G_RESOLVER_ERROR) return URLErrorCannotFindHost;
  if (error.domain == G_TLS_ERROR) return URLErrorSecureConnectionFailed;
  if (g_error_matches(&error, WEBKIT_NETWORK_ERROR, WEBKIT_NETWORK_ERROR_CANCELLED)) return URLErrorCancelled;
  if (g_error_matches(&error, WEBKIT_NETWORK_ERROR, WEBKIT_NETWORK_ERROR_UNKNOWN_PROTOCOL))
    return URLErrorUnsupportedURL;
  if (error.domain != G_IO_ERROR) return URLErrorUnknown;
  switch (error.code) {
    case G_IO_ERROR_TIMED_OUT:
      return URLErrorTimedOut;
    case G_IO_ERROR_CONNECTION_REFUSED:
    case G_IO_ERROR_HOST_UNREACHABLE:
    case G_IO_ERROR_NETWORK_UNREACHABLE:
      return URLErrorCannotConnectToHost;
    case G_IO_ERROR_CONNECTION_CLOSED:
    case G_IO_ERROR_PARTIAL_INPUT:
      return URLErrorNetworkConnectionLost;
    default:
      return URLErrorUnknown;
  }
}

/// Whether an address may be loaded, in any frame of a page. A page may create frames from its own data, but must not
/// access local resources.
bool mayBeLoaded(const char* address) {
  const char* scheme = address ? g_uri_peek_scheme(address) : nullptr;
  if (!scheme) return false;
  for (const char* allowed : {"https", "about", "data", "blob"}) {
    if (g_ascii_strcasecmp(scheme, allowed) == 0) return true;
  }
  return false;
}

/// The engine has an invisible text view in its widget, which translates key bindings. Tab must not stop there.
void keepFocusOffHelpers(GtkWidget* view) {
  for (GtkWidget* child = gtk_widget_get_first_child(view); child; child = gtk_widget_get_next_sibling(child)) {
    if (GTK_IS_TEXT_VIEW(child)) gtk_widget_set_focusable(child, FALSE);
  }
}

gboolean refuse() {
  return TRUE;
}

gboolean denyPermission(WebKitWebView*, WebKitPermissionRequest* request, gpointer) {
  webkit_permission_request_deny(request);
  return TRUE;
}

gboolean cancelFileChooser(WebKitWebView*, WebKitFileChooserRequest* request, gpointer) {
  webkit_file_chooser_request_cancel(request);
  return TRUE;
}

gboolean cancelColorChooser(WebKitWebView*, WebKitColorChooserRequest* request, gpointer) {
  webkit_color_chooser_request_cancel(request);
  return TRUE;
}

gboolean goOnWithoutPassword(WebKitWebView*, WebKitAuthenticationRequest* request, gpointer) {
  webkit_authentication_request_authenticate(request, nullptr);
  return TRUE;
}

}  // namespace

/// One message handler of the page; passed to the handler's signal as its data.
struct Page::Handler {
  Page& page;
  std::string name;

  static void received(WebKitUserContentManager*, JSCValue* value, gpointer self) {
    auto& handler = *static_cast<Handler*>(self);
    const std::string name = handler.name;
    handler.page._client.pagePosted(name, jsonOf(value));
  }
};

Page::Page(const char* folder, const WebPageSettings& settings, WebPageClient& client)
    : _client(client),
      _view(takeView(folder)),
      _content(webkit_web_view_get_user_content_manager(_view)),
      _scrollBar(_view) {
  addContent(settings);
  webkit_settings_set_enable_back_forward_navigation_gestures(webkit_web_view_get_settings(_view),
                                                              settings.allowsBackForwardGestures);
  keepFocusOffHelpers(widget());
  // Transparent until there is a document, so that GTK does not paint the widget in each frame of the opening
  // animation.
  gtk_widget_set_opacity(widget(), 0);
  connectLoad();
  connectLimits();
  if (settings.tellsPulls) connectPulls();
}

Page::~Page() {
  g_cancellable_cancel(_gone);
  g_object_unref(_gone);
  g_signal_handlers_disconnect_by_data(_view, this);
  for (const auto& handler : _handlers) g_signal_handlers_disconnect_by_data(_content, handler.get());
  _dialogs.clear();
  g_object_unref(_view);
}

void Page::addContent(const WebPageSettings& settings) {
  for (const std::string& name : settings.messageHandlers) {
    _handlers.push_back(std::unique_ptr<Handler>(new Handler{*this, name}));
    const std::string signal = "script-message-received::" + name;
    // Connected first, because a message may come as soon as the name is registered.
    g_signal_connect(_content, signal.c_str(), G_CALLBACK(Handler::received), _handlers.back().get());
    webkit_user_content_manager_register_script_message_handler(_content, name.c_str(), nullptr);
  }
  for (const WebScript& script : settings.scripts) {
    WebKitUserScript* added = webkit_user_script_new(
        script.source.c_str(),
        script.mainFrameOnly ? WEBKIT_USER_CONTENT_INJECT_TOP_FRAME : WEBKIT_USER_CONTENT_INJECT_ALL_FRAMES,
        script.atDocumentStart ? WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_START
                               : WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_END,
        nullptr, nullptr);
    webkit_user_content_manager_add_script(_content, added);
    webkit_user_script_unref(added);
  }
}

void Page::connectLoad() {
  g_signal_connect(_view, "load-changed", G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent event, gpointer self) {
                     static_cast<Page*>(self)->loadChanged(event);
                   }),
                   this);
  g_signal_connect(
      _view, "load-failed",
      G_CALLBACK(+[](WebKitWebView*, WebKitLoadEvent event, char* address, GError* error, gpointer self) -> gboolean {
        return static_cast<Page*>(self)->loadFailed(event, address, *error);
      }),
      this);
  g_signal_connect(_view, "load-failed-with-tls-errors",
                   G_CALLBACK(+[](WebKitWebView*, char* address, GTlsCertificate* certificate, GTlsCertificateFlags,
                                  gpointer self) -> gboolean {
                     return static_cast<Page*>(self)->certificateRefused(address, certificate);
                   }),
                   this);
  g_signal_connect(
      _view, "notify::estimated-load-progress", G_CALLBACK(+[](WebKitWebView* view, GParamSpec*, gpointer self) {
        static_cast<Page*>(self)->_client.pageProgressed(webkit_web_view_get_estimated_load_progress(view));
      }),
      this);
  g_signal_connect(_view, "web-process-terminated",
                   G_CALLBACK(+[](WebKitWebView*, WebKitWebProcessTerminationReason, gpointer self) {
                     auto& page = *static_cast<Page*>(self);
                     page._crashed = true;
                     page._client.pageCrashed();
                   }),
                   this);
  g_signal_connect(
      _view, "decide-policy",
      G_CALLBACK(+[](WebKitWebView*, WebKitPolicyDecision* decision, WebKitPolicyDecisionType type,
                     gpointer self) -> gboolean { return static_cast<Page*>(self)->decide(decision, type); }),
      this);
  g_signal_connect(_view, "script-dialog",
                   G_CALLBACK(+[](WebKitWebView*, WebKitScriptDialog* dialog, gpointer self) -> gboolean {
                     return static_cast<Page*>(self)->showDialog(dialog);
                   }),
                   this);
  // A view may outlive its page for a moment: the engine must not show its own dialogs then.
  g_signal_connect(_view, "script-dialog", G_CALLBACK(refuse), nullptr);
}

/// Denies the page everything outside its widget: permissions, files, stored passwords, menus, printing, notifications
/// and the full screen.
void Page::connectLimits() {
  g_signal_connect(_view, "permission-request", G_CALLBACK(denyPermission), this);
  g_signal_connect(_view, "run-file-chooser", G_CALLBACK(cancelFileChooser), this);
  g_signal_connect(_view, "run-color-chooser", G_CALLBACK(cancelColorChooser), this);
  g_signal_connect(_view, "authenticate", G_CALLBACK(goOnWithoutPassword), this);
  for (const char* offered : {"context-menu", "print", "show-notification", "enter-fullscreen"})
    g_signal_connect(_view, offered, G_CALLBACK(refuse), this);
}

/// Detects that the user continues to scroll upwards, by wheel or touchpad, at the top of the page.
void Page::connectPulls() {
  GtkEventController* wheel = gtk_event_controller_scroll_new(GTK_EVENT_CONTROLLER_SCROLL_VERTICAL);
  gtk_event_controller_set_propagation_phase(wheel, GTK_PHASE_CAPTURE);
  g_signal_connect(wheel, "scroll",
                   G_CALLBACK(+[](GtkEventControllerScroll*, double, double dy, gpointer self) -> gboolean {
                     static_cast<Page*>(self)->scrolled(dy);
                     return FALSE;
                   }),
                   this);
  gtk_widget_add_controller(widget(), wheel);
}

void Page::scrolled(double dy) {
  constexpr double notches = 4;
  _pulled = dy < 0 ? _pulled - dy : 0;
  if (_pulled < notches) return;
  _pulled = 0;
  evaluate("window.scrollY <= 0", [this](const std::optional<std::string>& json) {
    if (json == "true") _client.pagePulledDown();
  });
}

void Page::load(const std::string& url) {
  _retried.clear();
  _allowed.clear();
  _cancellations = 0;
  _shown = url;
  webkit_web_view_load_uri(_view, url.c_str());
}

void Page::reload() {
  _retried.clear();
  _allowed.clear();
  _cancellations = 0;
  // After a crash there is no document to reload, and the view has lost its address.
  if (_crashed) return webkit_web_view_load_uri(_view, _shown.c_str());
  webkit_web_view_reload(_view);
}

void Page::stopLoading() {
  _retried.clear();
  webkit_web_view_stop_loading(_view);
}

std::string Page::url() const {
  return textOf(webkit_web_view_get_uri(_view));
}

bool Page::canGoBack() const {
  return webkit_web_view_can_go_back(_view);
}

void Page::goBack() {
  webkit_web_view_go_back(_view);
}

void Page::evaluate(const std::string& script, std::function<void(const std::optional<std::string>& json)> completion) {
  struct Call {
    GCancellable* gone;
    std::function<void(const std::optional<std::string>&)> completion;
    ~Call() { g_object_unref(gone); }
  };
  auto* call = new Call{G_CANCELLABLE(g_object_ref(_gone)), std::move(completion)};
  auto done = +[](GObject* view, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<Call> finished(static_cast<Call*>(data));
    JSCValue* value = webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(view), result, nullptr);
    const std::optional<std::string> json = value ? std::optional(jsonOf(value)) : std::nullopt;
    if (value) g_object_unref(value);
    if (!g_cancellable_is_cancelled(finished->gone)) finished->completion(json);
  };
  webkit_web_view_evaluate_javascript(_view, script.c_str(), static_cast<gssize>(script.size()), nullptr, nullptr,
                                      _gone, done, call);
}

void Page::loadChanged(WebKitLoadEvent event) {
  switch (event) {
    case WEBKIT_LOAD_STARTED:
      _failed = _crashed = false;
      // A repeated load is not reported, because for the client it is part of the first one.
      if (!_retried.empty()) return;
      return _client.pageStarted();
    case WEBKIT_LOAD_REDIRECTED:
      return;
    case WEBKIT_LOAD_COMMITTED:
      _retried.clear();
      _allowed.clear();
      _cancellations = 0;
      _shown = url();
      gtk_widget_set_opacity(widget(), 1);
      return _client.pageCommitted();
    case WEBKIT_LOAD_FINISHED:
      // The engine emits this event after a failure as well.
      if (!_failed) _client.pageFinished();
      return;
  }
}

bool Page::loadFailed(WebKitLoadEvent event, const char* address, const GError& error) {
  _failed = true;
  const bool committed = event == WEBKIT_LOAD_COMMITTED || event == WEBKIT_LOAD_FINISHED;
  // The engine may open a connection before the load. If that connection's certificate is refused, the load that waits
  // for the connection fails with G_IO_ERROR_CANCELLED, and is repeated. A real cancellation has another error code:
  // one of WEBKIT_NETWORK_ERROR.
  if (!committed && g_error_matches(&error, G_IO_ERROR, G_IO_ERROR_CANCELLED) && _cancellations++ < 3) {
    retryWhenAllowed(textOf(address));
    return true;
  }
  _retried.clear();
  _client.pageFailed({URLErrorDomain, codeOf(error), textOf(error.message)}, textOf(address), committed);
  return true;
}

/// If the library trusts the certificate's authority and only the engine does not, allows the certificate for the host
/// name in the address, and repeats the load once.
bool Page::certificateRefused(const char* address, GTlsCertificate* certificate) {
  _failed = true;
  const std::string url = textOf(address);
  if (_allowed != url && isTrustedByUs(certificate, address)) {
    _allowed = url;
    g_autoptr(GUri) uri = g_uri_parse(address, G_URI_FLAGS_NONE, nullptr);
    webkit_network_session_allow_tls_certificate_for_host(webkit_web_view_get_network_session(_view), certificate,
                                                          g_uri_get_host(uri));
    retryWhenAllowed(url);
    return true;
  }
  _retried.clear();
  _client.pageFailed(
      {URLErrorDomain, URLErrorServerCertificateUntrusted, "The certificate for this server is not trusted"}, url,
      false);
  return true;
}

/// The permission for the certificate, given in certificateRefused(), and the load reach the network process on
/// different channels. So the page is loaded only after the process has answered a later request. The cookie policy is
/// requested only for this purpose.
void Page::retryWhenAllowed(const std::string& url) {
  _retried = url;
  struct Retry {
    Page* page;
    GCancellable* gone;
    std::string url;
    ~Retry() { g_object_unref(gone); }
  };
  auto answered = +[](GObject* cookies, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<Retry> retry(static_cast<Retry*>(data));
    webkit_cookie_manager_get_accept_policy_finish(WEBKIT_COOKIE_MANAGER(cookies), result, nullptr);
    if (g_cancellable_is_cancelled(retry->gone) || retry->page->_retried != retry->url) return;
    webkit_web_view_load_uri(retry->page->_view, retry->url.c_str());
  };
  WebKitCookieManager* cookies = webkit_network_session_get_cookie_manager(webkit_web_view_get_network_session(_view));
  webkit_cookie_manager_get_accept_policy(cookies, _gone, answered,
                                          new Retry{this, G_CANCELLABLE(g_object_ref(_gone)), url});
}

bool Page::decide(WebKitPolicyDecision* decision, WebKitPolicyDecisionType type) {
  if (type == WEBKIT_POLICY_DECISION_TYPE_RESPONSE) return decideResponse(WEBKIT_RESPONSE_POLICY_DECISION(decision));
  WebKitNavigationAction* action =
      webkit_navigation_policy_decision_get_navigation_action(WEBKIT_NAVIGATION_POLICY_DECISION(decision));
  const char* address = webkit_uri_request_get_uri(webkit_navigation_action_get_request(action));
  // New windows are not allowed.
  const bool allowed = type == WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION && mayBeLoaded(address);
  allowed ? webkit_policy_decision_use(decision) : webkit_policy_decision_ignore(decision);
  return true;
}

bool Page::decideResponse(WebKitResponsePolicyDecision* decision) {
  WebKitURIResponse* response = webkit_response_policy_decision_get_response(decision);
  const bool allowed = _client.pageMayShow(
      {textOf(webkit_uri_response_get_uri(response)), textOf(webkit_uri_response_get_mime_type(response)),
       static_cast<int>(webkit_uri_response_get_status_code(response)),
       webkit_response_policy_decision_is_main_frame_main_resource(decision) != FALSE});
  auto* policy = WEBKIT_POLICY_DECISION(decision);
  allowed ? webkit_policy_decision_use(policy) : webkit_policy_decision_ignore(policy);
  return true;
}

/// Holding a reference keeps the dialog open; releasing the last reference closes it with its answer. Never close it
/// explicitly: if it is closed while the engine still reports it (for example because the view has no delegate), the
/// engine later releases a freed dialog, and the process crashes.
bool Page::showDialog(WebKitScriptDialog* dialog) {
  const WebKitScriptDialogType type = webkit_script_dialog_get_dialog_type(dialog);
  if (type == WEBKIT_SCRIPT_DIALOG_BEFORE_UNLOAD_CONFIRM) {
    webkit_script_dialog_confirm_set_confirmed(dialog, TRUE);
    return true;
  }
  const Dialog held(webkit_script_dialog_ref(dialog), webkit_script_dialog_unref);
  _dialogs.push_back(held);
  WebPanel panel;
  panel.message = textOf(webkit_script_dialog_get_message(dialog));
  if (type == WEBKIT_SCRIPT_DIALOG_CONFIRM) panel.kind = WebPanel::Kind::Confirm;
  if (type == WEBKIT_SCRIPT_DIALOG_PROMPT) {
    panel.kind = WebPanel::Kind::Prompt;
    panel.defaultText = textOf(webkit_script_dialog_prompt_get_default_text(dialog));
  }
  panel.answer = [this, gone = std::shared_ptr<GCancellable>(G_CANCELLABLE(g_object_ref(_gone)), g_object_unref),
                  weak = std::weak_ptr<WebKitScriptDialog>(held),
                  type](bool confirmed, const std::optional<std::string>& text) {
    const Dialog open = weak.lock();
    if (!open || g_cancellable_is_cancelled(gone.get())) return;
    if (type == WEBKIT_SCRIPT_DIALOG_CONFIRM) webkit_script_dialog_confirm_set_confirmed(open.get(), confirmed);
    if (type == WEBKIT_SCRIPT_DIALOG_PROMPT && text) webkit_script_dialog_prompt_set_text(open.get(), text->c_str());
    std::erase(_dialogs, open);
  };
  _client.pageAsks(std::move(panel));
  return true;
}

}  // namespace oq::gtk

extern "C" __attribute__((visibility("default"))) oq::gtk::WidgetPage* oqsdk_open_web_page(
    const char* folder, const oq::WebPageSettings& settings, oq::WebPageClient& client) {
  return new oq::gtk::Page(folder, settings, client);
}

extern "C" __attribute__((visibility("default"))) bool oqsdk_prepare_web_pages(const char* folder) {
  return oq::gtk::prepareNextPart(folder);
}

extern "C" __attribute__((visibility("default"))) bool oqsdk_remove_web_data() {
  return oq::gtk::removeStoredData();
}

extern "C" __attribute__((visibility("default"))) const char* oqsdk_web_module_version() {
  return OQSDK_WEB_MODULE_VERSION;
}

// SPDX-License-Identifier: Apache-2.0
#include <dlfcn.h>
#include <gtk/gtk.h>
#include <gtkmm.h>

#include <cmath>
#include <map>
#include <memory>
#include <sstream>
#include <vector>

#include "CommandFixture.h"
#include "UIKit/Views/Animation.h"
#include "UIKit/Views/UILabel.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIScreen.h"
#include "UIKit/Windows/UIWindow.h"
#include "oqsdk/gtk/GtkHost.h"
#include "oqsdk/oqsdk.h"

/// A host with one button that fills its window, and views of the library above it. gtk_test.py and stage_test.py
/// control it. Its kinds:
///
/// "window": its window is attached
/// "titlebar": like "window", with a title bar that contains a button of the host and the window's close button
/// "overlay": a Gtk::Overlay of the host is attached
/// "eager": like "overlay", but the window has no default size, and a message is shown right after present()
/// "second": like "window", but another window, which is never shown, was attached before
/// "early": like "second", but a message is shown before the window; the command "show" shows the window
/// "adw_window", "adw_application_window": its window is one of libadwaita, which is loaded at run time

namespace {

/// A window of a libadwaita type, such as "adw_window".
Gtk::Window* makeAdwaitaWindow(const std::string& type) {
  void* library = dlopen("libadwaita-1.so.0", RTLD_NOW);
  if (!library) return nullptr;
  reinterpret_cast<void (*)()>(dlsym(library, "adw_init"))();
  const auto typeOf = reinterpret_cast<GType (*)()>(dlsym(library, (type + "_get_type").c_str()));
  return Glib::wrap(GTK_WINDOW(g_object_new(typeOf(), nullptr)));
}

std::string roleOf(GtkWidget* widget) {
  static auto* roles = static_cast<GEnumClass*>(g_type_class_ref(GTK_TYPE_ACCESSIBLE_ROLE));
  return g_enum_get_value(roles, gtk_accessible_get_accessible_role(GTK_ACCESSIBLE(widget)))->value_nick;
}

std::string propertyOf(GtkWidget* widget, GtkAccessibleProperty property) {
  // If the expected value differs, GTK returns the actual one.
  char* value = gtk_test_accessible_check_property(GTK_ACCESSIBLE(widget), property, "\001");
  std::string text = value ? value : "";
  g_free(value);
  return text;
}

/// Prints each touch and each scrolling that it gets.
class TouchReporter : public oq::UIView {
 public:
  TouchReporter(std::string name, oq::CGRect frame) : UIView(frame), _name(std::move(name)) {}
  void touchesBegan(oq::UITouch& touch) override { report("began", touch); }
  void touchesEnded(oq::UITouch& touch) override { report("ended", touch); }
  void touchesCancelled(oq::UITouch& touch) override { report("cancelled", touch); }
  bool scrollBy(double, double dy) override {
    say(_name + (dy > 0 ? " scrolled down" : " scrolled up"));
    return true;
  }

 private:
  void report(const char* what, const oq::UITouch& touch) {
    std::ostringstream text;
    text << _name << " " << what << " " << touch.locationInWindow.x << " " << touch.locationInWindow.y;
    say(text.str());
  }
  std::string _name;
};

class Fixture : public CommandFixture {
 public:
  Fixture(int width, int height, std::string kind) : _width(width), _height(height), _kind(std::move(kind)) {
    takeCommands({
        {"view", [this](auto& in) { addView(in); }},
        {"text", [this](auto&) { addText(); }},
        {"dead", [this](auto&) { addText()->setAccessibilityTraits(oq::UIAccessibilityTraitButton); }},
        {"pop", [this](auto& in) { pop(in); }},
        {"a11y", [this](auto&) { reportAccessible(GTK_WIDGET(_window->gobj())); }},
        {"remove", [this](auto&) { _view->removeFromSuperview(); }},
        {"animate", [this](auto& in) { animate(in); }},
        {"animations", [](auto& in) { setAnimations(in); }},
        {"host_cursor", [this](auto& in) { _window->set_cursor(word(in)); }},
        {"cursor", [this](auto& in) { reportCursor(in); }},
        {"child", [this](auto& in) { setChild(in); }},
        {"rehome", [this](auto&) { rehome(); }},
        {"above", [this](auto&) { addAbove(); }},
        {"popover", [this](auto&) { openPopover(); }},
        {"hide", [this](auto&) { _window->set_visible(false); }},
        {"pop_and_hide", [this](auto&) { pop(3, 1), _window->set_visible(false); }},
        {"pop_and_close", [this](auto&) { pop(3, 1), _window->close(); }},
        {"show", [this](auto&) { _window->set_visible(true); }},
        {"minimise", [this](auto&) { _window->minimize(); }},
        {"unminimise", [this](auto&) { _window->unminimize(); }},
        {"close", [this](auto&) { _window->close(); }},
        {"open", [this](auto& in) { open(), _window->set_title(word(in)); }},
        {"frames", [this](auto&) { say("frames " + std::to_string(_frames)); }},
        {"state", [](auto&) { reportState(); }},
        {"screen", [](auto&) { reportScreen(); }},
        {"plain", [this](auto&) { makePlain(); }},
        {"painted", [this](auto&) { reportWhenPainted(); }},
        {"card", [this](auto&) { reportCard(); }},
        {"bar", [this](auto&) { reportTitleBar(); }},
        {"dismiss", [this](auto&) { _message.lock()->_close(); }},
        {"focus", [this](auto&) { reportFocus(); }},
        {"shown", [](auto&) { say(ours().isCovered() ? "shown ours" : "shown host"); }},
    });
  }

  void open() override {
    if (_kind == "second" || _kind == "early") oq::gtk::attach(*new Gtk::Window);
    _window = isAdwaita() ? makeAdwaitaWindow(_kind) : new Gtk::Window;
    _window->set_title("one");
    if (_kind == "titlebar") {
      addTitleBar();
    } else {
      _window->set_decorated(false);
    }
    if (_kind != "eager") _window->set_default_size(_width, _height);
    _window->signal_hide().connect([] { say("hidden"); });
    g_signal_connect(_window->gobj(), "destroy", G_CALLBACK(+[](GtkWidget*, gpointer) { say("destroyed"); }), nullptr);
    auto& button = *(_button = &makeButton("host"));
    if (_kind == "overlay" || _kind == "eager") {
      if (_kind == "eager") button.set_size_request(_width, _height);
      auto* overlay = Gtk::make_managed<Gtk::Overlay>();
      overlay->set_child(button);
      _window->set_child(*overlay);
      oq::gtk::attach(*overlay);
    } else {
      setChild(&button);
      oq::gtk::attach(*_window);
    }
    _window->signal_map().connect([this] { watchFrames(); });
    if (_kind != "early") _window->present();
    if (_kind == "eager" || _kind == "early") pop(3, 1);
  }

 private:
  bool isAdwaita() const { return _kind.starts_with("adw_"); }

  void addTitleBar() {
    auto* bar = Gtk::make_managed<Gtk::HeaderBar>();
    bar->set_show_title_buttons(false);
    auto& button = makeButton("bar");
    bar->pack_start(button);
    auto* controls = Gtk::make_managed<Gtk::WindowControls>(Gtk::PackType::END);
    controls->set_decoration_layout(":close");
    bar->pack_end(*controls);
    _window->set_titlebar(*bar);
    _inBar = {&button, controls};
  }

  /// Reports "bar X Y X Y": the centres of the host's button and of the window's close button, on the screen.
  void reportTitleBar() {
    std::string line = "bar";
    for (Gtk::Widget* widget : _inBar) {
      double left = 0, top = 0, x = 0, y = 0;
      gtk_native_get_surface_transform(GTK_NATIVE(_window->gobj()), &left, &top);
      widget->translate_coordinates(*_window, widget->get_width() / 2.0, widget->get_height() / 2.0, x, y);
      line += " " + std::to_string(std::lround(x + left)) + " " + std::to_string(std::lround(y + top));
    }
    say(line);
  }

  static oq::UIWindow& ours() { return *oq::UIApplication::sharedApplication().keyWindow(); }

  void addView(std::istream& in) {
    double x, y, width, height;
    in >> x >> y >> width >> height;
    _view = oq::makeMainObject<TouchReporter>("view", oq::CGRectMake(x, y, width, height));
    _view->setBackgroundColor(oq::UIColor::redColor());
    ours().addSubview(_view);
  }

  std::shared_ptr<oq::UILabel> addText() {
    auto label = oq::makeMainObject<oq::UILabel>();
    label->setFrame(oq::CGRectMake(0, 0, 100, 40));
    label->setText("text");
    _view->addSubview(label);
    return label;
  }

  void pop(std::istream& in) {
    int style = 0, repeats = 1;
    in >> style >> repeats;
    pop(style, repeats);
  }

  void pop(int style, int repeats) {
    std::string text;
    for (int i = 0; i < repeats; ++i) text += "全场八折 off ";
    _message = popMessage({{"style", style},
                           {"title", {{"text", "春季大促"}}},
                           {"content", {{"text", text}}},
                           {"buttonLeft", {{"text", "取消"}}},
                           {"buttonRight", {{"text", "确定"}}}});
  }

  /// Reports the accessible role and name of each proxy widget.
  void reportAccessible(GtkWidget* widget) {
    if (std::string(gtk_widget_get_css_name(widget)) == "oqsdk-stand-in") {
      std::string line = roleOf(widget) + " " + propertyOf(widget, GTK_ACCESSIBLE_PROPERTY_LABEL);
      if (roleOf(widget) == "dialog") line += " | " + propertyOf(widget, GTK_ACCESSIBLE_PROPERTY_DESCRIPTION);
      say(line + (gtk_widget_is_focus(widget) ? " *" : ""));
    }
    for (auto* child = gtk_widget_get_first_child(widget); child; child = gtk_widget_get_next_sibling(child))
      reportAccessible(child);
  }

  void animate(std::istream& in) {
    oq::UIView::animateWithDuration(
        std::stod(word(in)), [this] { _view->setAlpha(_view->alpha() < 1 ? 1 : 0.5); },
        [](bool finished) { say(finished ? "completed 1" : "completed 0"); });
  }

  static void setAnimations(std::istream& in) {
    g_object_set(gtk_settings_get_default(), "gtk-enable-animations", std::stoi(word(in)), nullptr);
  }

  /// Reports the cursor that GTK shows at a point. It is the cursor of the innermost widget there that has a cursor.
  void reportCursor(std::istream& in) {
    double x = 0, y = 0;
    in >> x >> y;
    GtkWidget* widget = gtk_widget_pick(GTK_WIDGET(_window->gobj()), x, y, GTK_PICK_DEFAULT);
    while (!gtk_widget_get_cursor(widget)) widget = gtk_widget_get_parent(widget);
    say(std::string("cursor ") + gdk_cursor_get_name(gtk_widget_get_cursor(widget)));
  }

  void setChild(std::istream& in) {
    const std::string name = word(in);
    setChild(name.empty() ? nullptr : &makeButton(name));
  }

  void setChild(Gtk::Widget* child) {
    const char* property = isAdwaita() ? "content" : "child";
    g_object_set(_window->gobj(), property, child ? child->gobj() : nullptr, nullptr);
  }

  /// Adds a button of the host above the library's views.
  void addAbove() {
    auto& button = makeButton("above");
    button.set_halign(Gtk::Align::START);
    button.set_valign(Gtk::Align::START);
    button.set_size_request(200, 200);
    dynamic_cast<Gtk::Overlay&>(*_window->get_child()).add_overlay(button);
  }

  void openPopover() {
    auto* popover = Gtk::make_managed<Gtk::Popover>();
    popover->set_child(*Gtk::make_managed<Gtk::Entry>());
    popover->set_parent(*_button);
    popover->signal_map().connect([] { say("popover opened"); });
    popover->signal_closed().connect([popover] {
      say("popover closed");
      popover->unparent();
    });
    popover->popup();
  }

  /// Moves the window's child into a new container, like a host that adds a frame.
  void rehome() {
    auto& button = makeButton("inner");
    setChild(&button);
    button.reference();
    setChild(nullptr);
    auto* box = Gtk::make_managed<Gtk::Box>();
    button.set_hexpand();
    box->append(button);
    button.unreference();
    setChild(box);
  }

  void watchFrames() {
    auto painted = +[](GdkFrameClock*, gpointer frames) { ++*static_cast<int*>(frames); };
    g_signal_connect(_window->get_frame_clock()->gobj(), "paint", G_CALLBACK(painted), &_frames);
    say("mapped");
  }

  /// Reports "state scenes N active N host 0|1", and "held N" if the system holds back the frames of windows.
  static void reportState() {
    const auto& application = oq::UIApplication::sharedApplication();
    const auto scenes = application.connectedScenes();
    int active = 0, held = 0;
    for (const auto& scene : scenes) {
      active += scene->activationState() == oq::UISceneActivationState::ForegroundActive;
      held += scene->visibility() == oq::UISceneVisibility::HeldBack;
    }
    std::ostringstream text;
    text << "state scenes " << scenes.size() << " active " << active << " host " << (application.host() ? 1 : 0);
    if (held) text << " held " << held;
    say(text.str());
  }

  static void reportScreen() {
    const oq::CGSize screen = oq::UIScreen::mainScreen().bounds().size;
    std::ostringstream text;
    text << "screen " << screen.width << "x" << screen.height;
    say(text.str());
  }

  /// Paints the host in one colour, allows any window size, and counts key presses.
  void makePlain() {
    auto css = Gtk::CssProvider::create();
    css->load_from_data("button { all: unset; background: #3c78d8; color: #3c78d8; font-size: 1px; }");
    Gtk::StyleContext::add_provider_for_display(_window->get_display(), css, GTK_STYLE_PROVIDER_PRIORITY_USER);
    auto keys = Gtk::EventControllerKey::create();
    keys->set_propagation_phase(Gtk::PropagationPhase::CAPTURE);
    keys->signal_key_pressed().connect([this](auto...) { return ++_keys, false; }, false);
    _window->add_controller(keys);
  }

  /// Reports "painted WIDTHxHEIGHT" when no animation runs and the display shows the result.
  void reportWhenPainted() {
    _window->add_tick_callback([this, frames = 0](const auto&) mutable {
      if (oq::AnimationEngine::shared().isRunning()) frames = 0;
      _window->queue_draw();
      if (++frames < 3) return true;
      _window->get_display()->sync();
      say("painted " + std::to_string(_window->get_width()) + "x" + std::to_string(_window->get_height()));
      return false;
    });
  }

  /// Reports "card X Y WIDTH HEIGHT", then the same four numbers of the title (zeros if there is no title) and of the
  /// close button, then the pixels per point for which pictures are prepared.
  void reportCard() {
    using View = std::shared_ptr<oq::UIView>;
    const auto message = _message.lock();
    const auto style = message->data()->style();
    const bool hasText = style == 2 || style == 3;
    const View card = style == 1 ? message->imgView() : style == 4 ? message->webController()->view() : View();
    std::ostringstream text;
    text << "card";
    for (const View& view : {card ? card : message->contentView(), hasText ? message->titleLbl() : View(),
                             style == 3 ? View(message->leftBtn()) : message->closeBtn()}) {
      const oq::CGPoint at = view ? view->convertPointToWindow(view->bounds().origin) : oq::CGPoint{};
      const oq::CGSize size = view ? view->bounds().size : oq::CGSize{};
      text << " " << at.x << " " << at.y << " " << size.width << " " << size.height;
    }
    text << " " << ours().contentScale();
    say(text.str());
  }

  /// Reports "focus KEYS OWNER": the number of pressed keys, and whether the host or the library has the focus.
  void reportFocus() {
    auto* focus = _window->get_focus();
    say("focus " + std::to_string(_keys) + (focus && focus != _button ? " ours" : " host"));
  }

  int _width, _height;
  int _keys = 0;
  std::weak_ptr<oq::OQPopWindow> _message;
  std::vector<Gtk::Widget*> _inBar;  ///< the host's button, and the window's buttons
  const std::string _kind;
  int _frames = 0;
  Gtk::Button* _button = nullptr;
  std::shared_ptr<oq::UIView> _view;
};

}  // namespace

int main(int argc, char** argv) {
  int width = argc > 1 ? std::atoi(argv[1]) : 375, height = argc > 2 ? std::atoi(argv[2]) : 700;
  return runFixture("com.example.fixture", std::make_unique<Fixture>(width, height, argc > 3 ? argv[3] : "window"));
}

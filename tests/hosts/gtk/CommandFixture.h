// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtkmm.h>

#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>

/// Prints a line for the test script.
inline void say(const std::string& line) {
  std::cout << line << std::endl;
}

/// Takes the next word of a command.
inline std::string word(std::istream& in) {
  std::string next;
  in >> next;
  return next;
}

/// Gives the window the size that follows in a command.
inline void resize(Gtk::Window& window, std::istream& in) {
  int width = 0, height = 0;
  in >> width >> height;
  window.set_default_size(width, height);
}

/// A host that executes commands from its standard input. A line is the name of a command and its
/// arguments. After each line it prints "did " and the line.
class CommandFixture {
 public:
  using Commands = std::map<std::string, std::function<void(std::istream&)>>;

  virtual ~CommandFixture() = default;
  virtual void open() = 0;

 protected:
  void takeCommands(Commands commands) {
    _commands = std::move(commands);
    _commands["quit"] = [](auto&) { Gio::Application::get_default()->quit(); };
  }

 private:
  friend int runFixture(const std::string&, std::unique_ptr<CommandFixture>);

  bool obey() {
    std::string line, word;
    if (!std::getline(std::cin, line)) return Gio::Application::get_default()->quit(), false;
    std::istringstream in(line);
    in >> word;
    if (auto command = _commands.find(word); command != _commands.end()) command->second(in);
    say("did " + line);
    return true;
  }

  Commands _commands;
};

/// Runs the fixture until the application ends. Then destroys the fixture and prints "left".
inline int runFixture(const std::string& identifier, std::unique_ptr<CommandFixture> fixture) {
  auto application = Gtk::Application::create(identifier, Gio::Application::Flags::NON_UNIQUE);
  application->signal_activate().connect([&] {
    application->hold();
    fixture->open();
    Glib::signal_io().connect([&](Glib::IOCondition) { return fixture->obey(); }, 0,
                              Glib::IOCondition::IO_IN | Glib::IOCondition::IO_HUP);
  });
  application->run();
  fixture.reset();
  say("left");
  return 0;
}

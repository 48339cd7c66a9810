// SPDX-License-Identifier: Apache-2.0
#include "CommandLine.h"

#include <charconv>
#include <cstdlib>
#include <functional>
#include <map>
#include <string_view>

#include "Certificates.h"

namespace oq::server {

namespace {

std::filesystem::path defaultDataFolder() {
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  if (dataHome && dataHome[0] == '/') return std::filesystem::path(dataHome) / "oqsdk-server";
  const char* home = std::getenv("HOME");
  if (home && *home) return std::filesystem::path(home) / ".local/share/oqsdk-server";
  throw UsageError("--data is needed: neither XDG_DATA_HOME nor HOME is set");
}

int portFrom(const std::string& option, const std::string& text) {
  constexpr int highest = 65535;
  int port = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (error == std::errc() && end == text.data() + text.size() && port >= 0 && port <= highest) return port;
  throw UsageError(option + " needs a port, 0 to 65535, not \"" + text + "\"");
}

std::string hostFrom(const std::string& option, const std::string& text) {
  if (Certificates::isHost(text)) return text;
  throw UsageError(option + " needs a host name or address, not \"" + text + "\"");
}

using Apply = std::function<void(Options&, const std::string& option, const std::string& value)>;

const std::map<std::string, Apply, std::less<>>& optionsWithValue() {
  static const std::map<std::string, Apply, std::less<>> table = {
      {"--campaigns", [](Options& o, auto&, auto& value) { o.campaigns = value; }},
      {"--data", [](Options& o, auto&, auto& value) { o.data = value; }},
      {"--static", [](Options& o, auto&, auto& value) { o.staticFolder = value; }},
      {"--bind", [](Options& o, auto&, auto& value) { o.addresses.push_back(value); }},
      {"--host", [](Options& o, auto& option, auto& value) { o.hosts.insert(hostFrom(option, value)); }},
      {"--port-production", [](Options& o, auto& option, auto& value) { o.ports[0] = portFrom(option, value); }},
      {"--port-test", [](Options& o, auto& option, auto& value) { o.ports[1] = portFrom(option, value); }},
      {"--port-development", [](Options& o, auto& option, auto& value) { o.ports[2] = portFrom(option, value); }},
      {"--init",
       [](Options& o, auto&, auto& value) {
         o.action = Options::Action::init;
         o.initFile = value;
       }},
  };
  return table;
}

}  // namespace

Options parseCommandLine(const std::vector<std::string>& arguments) {
  static const std::map<std::string_view, Options::Action> actions = {
      {"--help", Options::Action::help},
      {"--version", Options::Action::version},
      {"--schema", Options::Action::schema},
  };
  Options options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const auto& argument = arguments[i];
    if (const auto known = actions.find(argument); known != actions.end()) {
      options.action = known->second;
      return options;
    }
    if (argument == "--public-events") {
      options.publicEvents = true;
      continue;
    }
    const auto equals = argument.find('=');
    const auto name = argument.substr(0, equals);
    const auto option = optionsWithValue().find(name);
    if (option == optionsWithValue().end()) throw UsageError("unknown option \"" + argument + "\"");
    if (equals == argument.npos && i + 1 == arguments.size()) throw UsageError(name + " needs a value");
    const auto value = equals == argument.npos ? arguments[++i] : argument.substr(equals + 1);
    if (value.empty()) throw UsageError(name + " needs a value");
    option->second(options, name, value);
  }
  if (options.action == Options::Action::serve && options.data.empty()) options.data = defaultDataFolder();
  return options;
}

const char* usage() {
  return R"(Usage: oqsdk-server [OPTION]...
Serves in-app campaigns to OQSDK clients and keeps the events that they report.

  --campaigns FILE         the campaigns; read again whenever the file changes
  --data DIR               certificates and events
                           (default: $XDG_DATA_HOME/oqsdk-server)
  --static DIR             serve the files of DIR at /static/
  --bind ADDRESS           listen here instead of on 127.0.0.1 and ::1 (repeatable)
  --host NAME              a further name or address for which the server's
                           certificate is valid (repeatable; localhost,
                           127.0.0.1 and ::1 always are)
  --port-production PORT   default 8088; 0 takes any free port, as for the next two
  --port-test PORT         default 28088
  --port-development PORT  default 38088
  --public-events          list events at /events for other machines too
  --init FILE              write a sample campaign file and exit
  --schema                 print the JSON Schema of campaign files and exit
  --help                   print this and exit
  --version                print the version and exit
)";
}

}  // namespace oq::server

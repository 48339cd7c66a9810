// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace oq::server {

// The parsed command line.
struct Options {
  enum class Action { serve, help, version, schema, init };

  Action action = Action::serve;
  std::filesystem::path initFile;
  std::filesystem::path campaigns;  // empty: no campaigns
  std::filesystem::path data;
  std::filesystem::path staticFolder;  // may be empty
  std::vector<std::string> addresses;  // empty: loopback
  std::array<int, 3> ports = {8088, 28088, 38088};
  std::set<std::string> hosts = {"localhost", "127.0.0.1", "::1"};
  bool publicEvents = false;
};

// A wrong command line; what() is one sentence for the user.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// `arguments` does not contain the program's name. The value of an option is the next argument, or follows '=' in the
// same argument. Throws UsageError.
Options parseCommandLine(const std::vector<std::string>& arguments);

// The text of --help.
const char* usage();

}  // namespace oq::server

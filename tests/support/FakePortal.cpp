// SPDX-License-Identifier: Apache-2.0
#include "support/FakePortal.h"

#include <stdlib.h>

#include <boost/json.hpp>
#include <stdexcept>

namespace oq::test {

FakePortal::FakePortal(const std::string& manners) {
  const std::string program = OQSDK_SOURCE_DIR "/tests/support/fake_portal.py";
  _output = ::popen(
      ("exec /usr/bin/python3 '" + program + "' " + _folder.path().string() + " '" + manners + "'").c_str(), "r");
  char line[256];
  if (!_output || !std::fgets(line, sizeof line, _output)) throw std::runtime_error("cannot start the fake portal");
  const std::string address = line;
  ::setenv("DBUS_SESSION_BUS_ADDRESS", address.substr(0, address.find('\n')).c_str(), 1);
}

FakePortal::~FakePortal() {
  ::pclose(_output);
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

std::vector<FakePortal::Mail> FakePortal::mails() const {
  std::vector<Mail> all;
  for (std::string text; !(text = textOfFile(_folder / ("mail" + std::to_string(all.size())))).empty();) {
    const boost::json::value mail = boost::json::parse(text);
    const auto read = [&]<class T>(const char* key, T& to) { to = boost::json::value_to<T>(mail.at(key)); };
    Mail& made = all.emplace_back();
    read("addresses", made.addresses);
    read("address", made.address);
    read("subject", made.subject);
    read("body", made.body);
    read("files", made.files);
  }
  return all;
}

std::size_t FakePortal::closedRequests() const {
  return textOfFile(_folder / "closed").size();
}

}  // namespace oq::test

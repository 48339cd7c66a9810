// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <filesystem>
#include <string>

#include "Foundation/Values/Data.h"
#include "support/ScratchFolder.h"

namespace oq::test {

/// Runs the command and returns its output.
inline std::string outputOf(const std::string& command) {
  std::string output;
  FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
  char buffer[4096];
  for (std::size_t count; pipe && (count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
    output.append(buffer, count);
  if (pipe) ::pclose(pipe);
  return output;
}

/// Runs a Python program and returns its output. The program finds the file's path in the variable `path`.
inline std::string python(const std::string& program, const std::filesystem::path& file) {
  ScratchFolder folder;
  const auto written = folder.write(
      "program.py", "import plistlib, sys, json, datetime\nfrom plistlib import UID\npath = sys.argv[1]\n" + program);
  return outputOf("/usr/bin/python3 '" + written.string() + "' '" + file.string() + "'");
}
inline std::string python(const std::string& program, const Data& contents) {
  ScratchFolder folder;
  return python(program, folder.write("file", stringFromData(contents)));
}

}  // namespace oq::test

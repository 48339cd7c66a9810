#pragma once

#include <plist/plist.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "Foundation/Data.h"
#include "TemporaryFolder.h"

/// Readers and writers of property lists that others wrote.
namespace oq::test {

/// What the command prints.
inline std::string outputOf(const std::string& command) {
  std::string output;
  FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
  char buffer[4096];
  for (std::size_t count; pipe && (count = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
    output.append(buffer, count);
  if (pipe) ::pclose(pipe);
  return output;
}

/// Runs a Python program, whose `path` is the file, and gives back what it prints.
inline std::string python(const std::string& program, const std::filesystem::path& file) {
  TemporaryFolder folder;
  writeText(folder / "program.py",
            "import plistlib, sys, json, datetime\nfrom plistlib import UID\npath = sys.argv[1]\n" + program);
  return outputOf("/usr/bin/python3 '" + (folder / "program.py").string() + "' '" + file.string() + "'");
}

inline std::string python(const std::string& program, const Data& contents) {
  TemporaryFolder folder;
  writeText(folder / "file", stringFromData(contents));
  return python(program, folder / "file");
}

/// The bytes that the Python expression is written as.
inline Data plistFromPython(const std::string& expression) {
  TemporaryFolder folder;
  std::string errors = python("open(path, 'wb').write(plistlib.dumps(" + expression +
                                  ", fmt=plistlib.FMT_BINARY, "
                                  "sort_keys=False))\n",
                              folder / "made");
  return dataFromString(errors + textOfFile(folder / "made"));
}

/// The bytes that libplist writes for what is said in XML.
inline Data binaryFromLibplist(const std::string& xml) {
  std::string document = "<plist version=\"1.0\">" + xml + "</plist>";
  plist_t list = nullptr;
  plist_from_xml(document.c_str(), static_cast<std::uint32_t>(document.size()), &list);
  char* bytes = nullptr;
  std::uint32_t length = 0;
  plist_to_bin(list, &bytes, &length);
  Data data(bytes, bytes + length);
  std::free(bytes);
  plist_free(list);
  return data;
}

/// The XML that libplist makes of a binary list; "" when it cannot read it.
inline std::string xmlFromLibplist(const Data& data) {
  plist_t list = nullptr;
  plist_from_bin(reinterpret_cast<const char*>(data.data()), static_cast<std::uint32_t>(data.size()), &list);
  if (!list) return "";
  char* text = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(list, &text, &length);
  std::string xml(text, length);
  std::free(text);
  plist_free(list);
  return xml;
}

}  // namespace oq::test

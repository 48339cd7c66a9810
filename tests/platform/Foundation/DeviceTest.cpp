#include "Foundation/Device.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/file.h>

#include "Foundation/Base64.h"
#include "Foundation/Bundle.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/FileManager.h"
#include "support/ScratchFolder.h"

using namespace oq;
using namespace oq::test;

TEST(Base64, DecodesWhatIsWellFormedAndNothingElse) {
  auto decoded = [](std::string_view text) -> std::optional<std::string> {
    auto data = dataWithBase64(text);
    return data ? std::optional(stringFromData(*data)) : std::nullopt;
  };
  EXPECT_EQ(decoded("aGVsbG8="), "hello");
  EXPECT_EQ(decoded(" aG Vs\n-bG8_=\r\n"), "hello");
  EXPECT_EQ(decoded("+/+/"), "\xfb\xff\xbf");
  EXPECT_EQ(decoded(""), "");
  for (const char* text : {"a", "aGVsbG8", "aGVsbG8==", "aG==Vs", "=aGV", "====", "aGVsb==="}) {
    EXPECT_FALSE(decoded(text)) << text;
  }
  Data bytes;
  for (int i = 0; i < 256; ++i) {
    bytes.push_back(static_cast<std::uint8_t>(i));
    std::string text = base64EncodedString(bytes);
    EXPECT_EQ(text.find('\n'), text.npos);
    EXPECT_EQ(dataWithBase64(text), bytes);
  }
}

TEST(UTF8, TellsValidFromInvalid) {
  for (std::string_view text :
       {std::string_view(""), std::string_view("a\0b\0", 4), std::string_view("é😀")}) {
    EXPECT_TRUE(isValidUTF8(text));
  }
  for (const char* text : {"\xff", "\xc0\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80", "a\xe2\x82"}) {
    EXPECT_FALSE(isValidUTF8(text)) << text;
  }
  EXPECT_FALSE(isValidUTF8(std::string_view("\0\xff", 2)));
}

TEST(Device, KeepsOneIdentifierForAllProcesses) {
  ScratchFolder folder;
  setApplicationDataDirectory(folder.path());
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  EXPECT_TRUE(holdsInChildren<4>([&](int) {
    std::string identifier = identifierForVendor();
    return ::write(ends[1], identifier.data(), identifier.size()) == 36;
  }));
  std::string own = identifierForVendor();
  char text[4 * 36];
  ASSERT_EQ(::read(ends[0], text, sizeof text), static_cast<ssize_t>(sizeof text));
  EXPECT_EQ(std::string(text, sizeof text), own + own + own + own);
  EXPECT_EQ(own.find_first_not_of("0123456789ABCDEF-"), own.npos);
  for (int end : ends) ::close(end);

  writeText(preferencesDirectory() / "identifierForVendor", "torn");
  EXPECT_EQ(identifierForVendor().size(), 36u);
  EXPECT_EQ(identifierForVendor(), identifierForVendor());
}

TEST(Device, WaitsForNobodyForEverAndMakesNothingWhereNothingCanBeKept) {
  ScratchFolder folder;
  setApplicationDataDirectory(folder.path());
  std::string identifier = identifierForVendor();
  FileDescriptor held(::open((preferencesDirectory() / "identifierForVendor").c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(::flock(held.get(), LOCK_EX), 0);
  EXPECT_EQ(identifierForVendor(), identifier) << "reading needs no lock";
  ASSERT_EQ(::ftruncate(held.get(), 0), 0);
  EXPECT_EQ(identifierForVendor(), "") << "what another one is making is not made twice";
  setApplicationDataDirectory(folder.write("file", ""));
  EXPECT_EQ(identifierForVendor(), "");
}

TEST(Bundle, LooksForResourcesInTheChosenFolderFirst) {
  ScratchFolder folder;
  folder.write("Some.bundle/a.txt", "x");
  ::setenv("OQSDK_RESOURCE_DIR", folder.path().c_str(), 1);
  EXPECT_EQ(pathForResource("Some", "a.txt"), folder / "Some.bundle/a.txt");
  EXPECT_FALSE(pathForResource("Some", "b.txt"));
  EXPECT_FALSE(pathForResource("Other", "a.txt"));
  ::unsetenv("OQSDK_RESOURCE_DIR");
  EXPECT_FALSE(pathForResourceBundle("Some"));
}

TEST(Bundle, FallsBackToTheProgramsName) {
  setMainBundle("", "");
  EXPECT_EQ(mainBundleIdentifier(), program_invocation_short_name);
  EXPECT_EQ(mainBundleShortVersion(), "");
  setMainBundle("com.example.shop", "2.1");
  EXPECT_EQ(mainBundleIdentifier(), "com.example.shop");
  ::setenv("XDG_DATA_HOME", "/somewhere", 1);
  setApplicationDataDirectory("");
  EXPECT_EQ(applicationDataDirectory(), "/somewhere/com.example.shop");
  setMainBundle("../../etc", "");
  EXPECT_EQ(applicationDataDirectory(), "/somewhere/.._.._etc");
  ::unsetenv("XDG_DATA_HOME");
  setMainBundle("", "");
}

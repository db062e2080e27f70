#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>

#include "platform/Defaults.h"
#include "support/TemporaryFolder.h"

using namespace zorvane;

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void overwrite(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

class FileUserDefaults : public testing::Test {
 protected:
  TemporaryFolder folder;
  const std::string path = folder.file("below/user_defaults");
};

}  // namespace

TEST_F(FileUserDefaults, KeepsEveryByteAcrossRestartsInAPrivateFile) {
  const std::string nul("a\0b", 3);
  const std::pair<std::string, std::string> pairs[] = {
      {"empty", ""}, {"", "no key"}, {"tab\tkey", "line\nline\r\n"}, {"back\\slash", "\\n\\t\\\\"}, {nul, "日本\xFF"}};
  {
    const auto defaults = makeFileUserDefaults(path);
    for (const auto& [key, value] : pairs) defaults->setString(key, value);
    defaults->setString("gone", "soon");
    defaults->removeKey("gone");
    EXPECT_TRUE(defaults->synchronize());
  }
  const auto again = makeFileUserDefaults(path);
  for (const auto& [key, value] : pairs) EXPECT_EQ(again->stringForKey(key), value) << key;
  EXPECT_EQ(again->stringForKey("gone"), std::nullopt);

  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  EXPECT_EQ(std::distance(fs::directory_iterator(fs::path(path).parent_path()), {}), 1)
      << "temporary files stay behind";
}

TEST_F(FileUserDefaults, WritesAChangeAtOnceAndNothingElse) {
  const auto defaults = makeFileUserDefaults(path);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_FALSE(fs::exists(path)) << "nothing was set";
  defaults->setString("key", "value");
  EXPECT_EQ(makeFileUserDefaults(path)->stringForKey("key"), "value") << "without a flush";

  EXPECT_TRUE(defaults->synchronize());
  const fs::path kept = folder.file("kept");
  fs::create_hard_link(path, kept);  // a replaced file is another one
  defaults->setString("key", "value");
  defaults->removeKey("unknown");
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_TRUE(fs::equivalent(path, kept));
  defaults->setString("key", "other");
  EXPECT_FALSE(fs::equivalent(path, kept));
}

TEST_F(FileUserDefaults, StartsEmptyFromADamagedFileAndRecovers) {
  makeFileUserDefaults(path)->setString("key", "value");
  const std::string whole = contentOf(path);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    overwrite(path, whole.substr(0, length));
    EXPECT_EQ(makeFileUserDefaults(path)->stringForKey("key"), std::nullopt) << "cut to " << length << " bytes";
  }
  for (const std::string& damaged :
       {whole + "x", whole + '\0', "[]"s, "\"text\""s, "null"s, R"({"key":1e999999999})"s, R"({"key":null})"s,
        R"({"key":{"key":"value"}})"s, std::string(1000, '['), "zorvane user defaults 1 4\nabc\n"s,
        "zorvane user defaults 1 6\nk\tv\\q\n"s, "zorvane user defaults 1 7\nkey\tv\n"s}) {
    overwrite(path, damaged);
    const auto defaults = makeFileUserDefaults(path);
    EXPECT_EQ(defaults->stringForKey("key"), std::nullopt) << damaged;
    defaults->setString("key", "new");
    EXPECT_EQ(makeFileUserDefaults(path)->stringForKey("key"), "new") << damaged;
  }
}

TEST_F(FileUserDefaults, ReadsTheFileOfTheFirstVersionAndWritesItAsJson) {
  fs::create_directories(fs::path(path).parent_path());
  overwrite(path, "zorvane user defaults 1 38\nkey\tva\\tl\\\\ue\\n\nlast\t\n\tno key / \"日\"\n");
  const auto defaults = makeFileUserDefaults(path);
  EXPECT_EQ(defaults->stringForKey("key"), "va\tl\\ue\n");
  EXPECT_EQ(contentOf(path), R"({"":"no key / \"日\"","key":"va\tl\\ue\n","last":""})");
  EXPECT_EQ(makeFileUserDefaults(path)->stringForKey("last"), "");
}

TEST_F(FileUserDefaults, LeavesAloneWhatIsOutOfReachAndJoinsItOnceItIsBack) {
  const std::string elsewhere = folder.file("elsewhere");
  makeFileUserDefaults(elsewhere)->setString("kept", "old");
  fs::create_directories(fs::path(path).parent_path());
  using Case = std::pair<const char*, std::function<void()>>;
  for (const auto& [what, make] : {
           Case{"directory", [&] { fs::create_directories(path); }},  // can be opened, not read
           Case{"pipe", [&] { ASSERT_EQ(mkfifo(path.c_str(), 0600), 0); }},
           Case{"endless device", [&] { fs::create_symlink("/dev/zero", path); }},
           Case{"empty device", [&] { fs::create_symlink("/dev/null", path); }},
           Case{"link that leads nowhere", [&] { fs::create_symlink(folder.file("nowhere"), path); }},
           Case{"link to itself", [&] { fs::create_symlink(path, path); }},
           Case{"endless file", [&] { overwrite(path, std::string((1 << 20) + 1, 'x')); }},
       }) {
    make();
    const auto type = fs::symlink_status(path).type();
    const auto defaults = makeFileUserDefaults(path);
    EXPECT_EQ(defaults->stringForKey("kept"), std::nullopt) << what;
    defaults->setString("added", "new");
    EXPECT_FALSE(defaults->synchronize()) << what;
    EXPECT_EQ(defaults->stringForKey("added"), "new") << "kept for this run: " << what;
    EXPECT_EQ(fs::symlink_status(path).type(), type) << what;
    fs::remove(path);
    fs::copy_file(elsewhere, path);
    EXPECT_TRUE(defaults->synchronize()) << what;
    EXPECT_EQ(makeFileUserDefaults(path)->stringForKey("kept"), "old") << what;
    EXPECT_EQ(makeFileUserDefaults(path)->stringForKey("added"), "new") << what;
    fs::remove(path);
  }
}

TEST_F(FileUserDefaults, WritesNoMoreThanItReadsAgain) {
  const std::string longest((1 << 20) - std::string(R"({"k":""})").size(), 'v');
  const auto defaults = makeFileUserDefaults(path);
  defaults->setString("k", longest);
  EXPECT_EQ(fs::file_size(path), std::size_t{1} << 20);
  EXPECT_EQ(makeFileUserDefaults(path)->stringForKey("k"), longest);
  defaults->setString("k", longest + "v");
  EXPECT_FALSE(defaults->synchronize());
  EXPECT_EQ(makeFileUserDefaults(path)->stringForKey("k"), longest);
}

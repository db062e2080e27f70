#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/Defaults.h"
#include "support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void overwrite(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

// Changes with every replacement of the file: the old one is kept in use, so its number is not given out again.
class Replaced {
 public:
  explicit Replaced(const std::string& path) : path_(path), kept_(path) {}
  operator bool() const { return number(path_) != first_; }

 private:
  static ino_t number(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
  }
  const std::string path_;
  const std::ifstream kept_;
  const ino_t first_ = number(path_);
};

class FileUserDefaults : public testing::Test {
 protected:
  TemporaryFolder folder;
  const std::string path = folder.file("below/user_defaults");
};

}  // namespace

TEST_F(FileUserDefaults, KeepsEveryByteAcrossRestartsInAPrivateFile) {
  const std::string nul("a\0b", 3);
  const std::pair<std::string, std::string> pairs[] = {{"plain", "value"},
                                                       {"empty", ""},
                                                       {"", "no key"},
                                                       {"tab\tkey", "line\nline\r\n"},
                                                       {"back\\slash", "\\n\\t\\\\"},
                                                       {nul, nul},
                                                       {"ünicode", "日本\xFF"}};
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
  const Replaced replaced(path);
  defaults->setString("key", "value");
  defaults->removeKey("unknown");
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_FALSE(replaced);
  defaults->setString("key", "other");
  EXPECT_TRUE(replaced);
}

TEST_F(FileUserDefaults, StartsEmptyFromADamagedFileAndRecovers) {
  makeFileUserDefaults(path)->setString("key", "value");
  const std::string whole = contentOf(path);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    overwrite(path, whole.substr(0, length));
    EXPECT_EQ(makeFileUserDefaults(path)->stringForKey("key"), std::nullopt) << "cut to " << length << " bytes";
  }
  for (const std::string& damaged : {whole + "x", std::string("zorvane user defaults 1 4\nabc\n"),
                                     std::string("zorvane user defaults 1 6\nk\tv\\q\n")}) {
    overwrite(path, damaged);
    const auto defaults = makeFileUserDefaults(path);
    EXPECT_EQ(defaults->stringForKey("key"), std::nullopt) << damaged;
    defaults->setString("key", "new");
    EXPECT_EQ(makeFileUserDefaults(path)->stringForKey("key"), "new") << damaged;
  }
}

TEST_F(FileUserDefaults, SaysWhenItCannotFlushAndTriesAgain) {
  overwrite(folder.file("below"), "a file where the folder should be");
  const auto defaults = makeFileUserDefaults(path);
  defaults->setString("key", "value");
  EXPECT_FALSE(defaults->synchronize());
  EXPECT_EQ(defaults->stringForKey("key"), "value") << "kept for this run";
  fs::remove(folder.file("below"));
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(makeFileUserDefaults(path)->stringForKey("key"), "value");
}

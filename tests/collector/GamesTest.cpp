// The file of the games, and what a bad one changes.
#include "collector/games/Games.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/TemporaryFolder.h"

namespace collector {
namespace {

using testing::EndsWith;

const std::string kKey = "0123456789abcdef0123456789ABCDE_";
const std::string kSecret = "[\\]^_`789abcdef0123456789ABCDEFabcdefghi";

void write(const std::string& file, const std::string& text) { std::ofstream(file, std::ios::binary) << text; }

TEST(AFileOfGames, HoldsALineForEach) {
  const TemporaryFolder folder;
  const auto file = folder.file("games");
  const std::string other = "1" + kKey.substr(1);
  write(file, "# names\n\n \t\r\n" + kKey + ' ' + kSecret + " The \u017Dlu\u0165 Game \r\n  # more\n" + other + "\t " +
                  kSecret);
  const Games games(file);
  ASSERT_EQ(games.all().size(), 2U);
  EXPECT_EQ(games.all()[0].name, "The \u017Dlu\u0165 Game");
  EXPECT_EQ(games.all()[1].name, other) << "its key, where there is no name";
  EXPECT_EQ(games.secretOf(kKey), kSecret);
  EXPECT_EQ(games.secretOf("#"), std::nullopt);
}

TEST(AFileOfGames, ThatIsBadKeepsThoseKnownBefore) {
  const TemporaryFolder folder;
  const auto file = folder.file("games");
  const std::string good = kKey + ' ' + kSecret;
  write(file, good);
  Games games(file);
  struct Case {
    std::string text, wrong;
  };
  for (const auto& [text, wrong] : std::vector<Case>{
           {good + "\n" + kKey, "line 2: the secret is not 40 characters of [A-z0-9]"},
           {"#\n" + kKey + "x " + kSecret, "line 2: the key is not 32 characters of [A-z0-9]"},
           {kKey.substr(1) + "{ " + kSecret, "line 1: the key is not 32 characters of [A-z0-9]"},
           {good + "\n\n" + good, "line 3: the key " + kKey + " is there twice"},
           {good + " " + std::string(101, 'x'), "line 1: the name is more than 100 bytes, or not printable UTF-8"},
           {good + " \xFF", "line 1: the name is more than 100 bytes, or not printable UTF-8"},
           {good + " a\x01", "line 1: the name is more than 100 bytes, or not printable UTF-8"},
           {"", "games names no game"},
           {"# all gone", "games names no game"},
       }) {
    write(file, text);
    EXPECT_THAT(games.reload(), EndsWith(wrong)) << text;
    EXPECT_EQ(games.secretOf(kKey), kSecret) << text;
  }
  std::filesystem::remove(file);
  EXPECT_THAT(games.reload(), EndsWith("can't be read: No such file or directory"));
  std::filesystem::create_directory(file);
  EXPECT_THAT(games.reload(), EndsWith("can't be read: Is a directory"));
  EXPECT_EQ(games.secretOf(kKey), kSecret);
  std::filesystem::remove(file);
  write(file, "1" + good.substr(1));
  EXPECT_EQ(games.reload(), "");
  EXPECT_EQ(games.secretOf(kKey), std::nullopt);
}

TEST(AFileOfGames, GetsNewOnesWithKeysOfTheirOwn) {
  const TemporaryFolder folder;
  const auto file = folder.file("games");
  const Game one = Games::add(file, "One");
  std::ofstream(file, std::ios::app) << "# an editor ended here";
  const Game two = Games::add(file, "");
  EXPECT_NE(one.key, two.key);
  EXPECT_NE(one.secret.substr(0, 32), one.key);
  EXPECT_THROW(Games::add(file, "two\nlines"), std::runtime_error);
  const Games games(file);
  EXPECT_EQ(games.secretOf(one.key), one.secret);
  EXPECT_EQ(games.secretOf(two.key), two.secret);
  struct stat status {};
  ASSERT_EQ(stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

}  // namespace
}  // namespace collector

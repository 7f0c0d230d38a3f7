#include "games/targets/targets_win/game_bar_games.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "tests/fakes/fake_clock.h"

namespace orventa {
namespace {

constexpr wchar_t kTestKey[] = L"Software\\ORVENTA test\\Children";

class GameBarGamesTest : public testing::Test {
 protected:
  GameBarGamesTest() { Forget(); }
  ~GameBarGamesTest() override { Forget(); }

  static void Forget() { RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\ORVENTA test"); }
  static void Remember(const std::wstring& name, const std::wstring& path, DWORD type = REG_SZ) {
    ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, (kTestKey + (L"\\" + name)).c_str(),
                              L"MatchedExeFullPath", type, path.c_str(),
                              static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
  }

  bool Knows(const std::string& path) {
    const std::string lower = ToLowerUnicode(path);
    return games.Knows({path, lower});
  }

  FakeClock clock;
  GameBarGames games{clock, kTestKey};
};

TEST_F(GameBarGamesTest, FollowsTheList) {
  const std::wstring long_path = L"C:\\" + std::wstring(400, L'x') + L"\\Game.exe";
  Remember(L"one", L"C:\\Games\\One.exe");
  Remember(L"two", long_path);
  Remember(L"no text", L"C:\\Games\\Binary.exe", REG_BINARY);
  EXPECT_TRUE(Knows("c:\\games\\ONE.exe"));
  EXPECT_TRUE(Knows(Narrow(long_path)));
  EXPECT_FALSE(Knows("C:\\Games\\Binary.exe"));
  EXPECT_FALSE(Knows("C:\\Games\\Three.exe"));
  EXPECT_FALSE(Knows(""));

  Remember(L"three", L"C:\\Games\\Three.exe");
  EXPECT_TRUE(Knows("C:\\Games\\Three.exe"));
  Remember(L"three", L"D:\\Moved.exe");
  EXPECT_FALSE(Knows("C:\\Games\\Three.exe"));
  EXPECT_TRUE(Knows("D:\\Moved.exe"));
}

TEST_F(GameBarGamesTest, WaitsForAListThatIsNotThereYet) {
  EXPECT_FALSE(Knows("C:\\Games\\One.exe"));
  for (int round = 0; round < 2; ++round) {
    Remember(L"one", L"C:\\Games\\One.exe");
    clock.RunFor(3 * kNsPerSecond);
    EXPECT_TRUE(Knows("C:\\Games\\One.exe")) << "round " << round;
    Forget();
    EXPECT_FALSE(Knows("C:\\Games\\One.exe")) << "round " << round;
  }
}

}  // namespace
}  // namespace orventa

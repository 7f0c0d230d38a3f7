#include "service/service_win/win_platform.h"

#include <gtest/gtest.h>

#include "base/base_win/win32.h"
#include "base/files.h"
#include "tests/fakes/temp_folder.h"

namespace orventa {
namespace {

TEST(WinDesktop, HasTwoHiddenWindowsOfWhichOneIsDrawnInEveryScale) {
  const auto clock = MakeSystemClock();
  {
    WinDesktop desktop(*clock);
    const auto loop = desktop.MakeLoop();
    ASSERT_NE(loop, nullptr);
    for (const wchar_t* const name : {L"OrventaServiceWindow", L"OrventaMenuWindow"}) {
      const HWND window = FindWindowW(name, L"ORVENTA");
      ASSERT_NE(window, nullptr);
      EXPECT_EQ(GetWindowLongPtrW(window, GWL_STYLE) & WS_VISIBLE, 0);
      EXPECT_NE(GetWindowLongPtrW(window, GWL_EXSTYLE) & WS_EX_TOOLWINDOW, 0);
    }
    const HWND menu = FindWindowW(L"OrventaMenuWindow", nullptr);
    EXPECT_EQ(GetAwarenessFromDpiAwarenessContext(GetWindowDpiAwarenessContext(menu)),
              DPI_AWARENESS_PER_MONITOR_AWARE);
  }
  EXPECT_EQ(FindWindowW(L"OrventaMenuWindow", nullptr), nullptr);
}

TEST(WinProcess, KeepsAFolderWhereItIs) {
  const TempFolder folder;
  const std::string held = folder / "held";
  const std::string moved = folder / "moved";
  ASSERT_TRUE(CreateFolders(held).ok());
  WinProcess process;
  auto hold = process.HoldFolder(held);
  ASSERT_NE(hold, nullptr);
  EXPECT_FALSE(MoveReplacing(held, moved).ok());
  EXPECT_TRUE(WriteFileAtomically(JoinPath(held, "config.ini"), "x", KeepBackup::No).ok());
  hold.reset();
  EXPECT_TRUE(MoveReplacing(held, moved).ok());
  EXPECT_EQ(process.HoldFolder(held), nullptr);
}

TEST(WinProcess, RegistersItsNameAndPicture) {
  WinProcess().SetAppIdentity();
  const auto read = [](const wchar_t* name) {
    wchar_t text[MAX_PATH] = {};
    DWORD size = sizeof(text);
    RegGetValueW(HKEY_CURRENT_USER, L"Software\\Classes\\AppUserModelId\\ORVENTA.ReplayBuffer",
                 name, RRF_RT_REG_SZ, nullptr, text, &size);
    return Narrow(text);
  };
  EXPECT_EQ(read(L"DisplayName"), "ORVENTA");
  EXPECT_TRUE(FileExists(read(L"IconUri"))) << read(L"IconUri");
}

}  // namespace
}  // namespace orventa

#include <gtest/gtest.h>

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <array>
#include <random>

#include "service/channel/channel.h"
#include "tests/channel/raw_client.h"

namespace orventa {
namespace {

TEST(Pipe, IsForTheSystemAndThisUserOnly) {
  const auto clock = MakeSystemClock();
  const std::string name = "test-acl-" + std::to_string(std::random_device()());
  std::unique_ptr<IChannelServer> server;
  ChannelOptions options;
  options.name = name;
  options.handler = [](const ChannelRequest&) { return std::string("OK"); };
  ASSERT_TRUE(OpenChannel(*clock, std::move(options), server));

  const std::wstring path = L"\\\\.\\pipe\\" + std::wstring(name.begin(), name.end());
  HANDLE pipe = CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(pipe, INVALID_HANDLE_VALUE);
  PACL acl = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ASSERT_EQ(GetSecurityInfo(pipe, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                            &acl, nullptr, &descriptor),
            DWORD{ERROR_SUCCESS});
  ASSERT_NE(acl, nullptr);
  ASSERT_EQ(acl->AceCount, 2);
  std::array<BYTE, SECURITY_MAX_SID_SIZE> system{};
  DWORD size = static_cast<DWORD>(system.size());
  ASSERT_NE(CreateWellKnownSid(WinLocalSystemSid, nullptr, system.data(), &size), 0);
  void* first = nullptr;
  ASSERT_NE(GetAce(acl, 0, &first), 0);
  EXPECT_NE(EqualSid(&static_cast<ACCESS_ALLOWED_ACE*>(first)->SidStart, system.data()), 0);
  LocalFree(descriptor);
  CloseHandle(pipe);
}

TEST(Pipe, ComesFirstOrNotAtAll) {
  if (!NamesHaveOneServer()) GTEST_SKIP() << "this system ignores the flag for first instances";
  const auto clock = MakeSystemClock();
  const std::string name = "test-squat-" + std::to_string(std::random_device()());
  const std::wstring path = L"\\\\.\\pipe\\" + std::wstring(name.begin(), name.end());
  HANDLE squatter = CreateNamedPipeW(path.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE,
                                     PIPE_UNLIMITED_INSTANCES, 4096, 4096, 0, nullptr);
  ASSERT_NE(squatter, INVALID_HANDLE_VALUE);
  std::unique_ptr<IChannelServer> server;
  ChannelOptions options;
  options.name = name;
  options.handler = [](const ChannelRequest&) { return std::string("OK"); };
  EXPECT_FALSE(OpenChannel(*clock, options, server));
  CloseHandle(squatter);
  EXPECT_TRUE(OpenChannel(*clock, options, server));
}

}  // namespace
}  // namespace orventa

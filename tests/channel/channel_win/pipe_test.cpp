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

std::string TextOfThisUser() {
  std::array<uint64_t, 32> buffer{};
  DWORD size = sizeof(buffer);
  HANDLE token = nullptr;
  OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token);
  GetTokenInformation(token, TokenUser, buffer.data(), size, &size);
  CloseHandle(token);
  char* text = nullptr;
  ConvertSidToStringSidA(reinterpret_cast<const TOKEN_USER*>(buffer.data())->User.Sid, &text);
  std::string user(text);
  LocalFree(text);
  return user;
}

TEST(Pipe, IsForTheSystemAndThisUserOnly) {
  const auto clock = MakeSystemClock();
  const std::string name = "test-acl-" + std::to_string(std::random_device()());
  std::unique_ptr<IChannelServer> server;
  ChannelOptions options;
  options.name = name;
  options.handler = [](const ChannelRequest&) { return std::string("OK"); };
  options.label_integrity = true;
  ASSERT_TRUE(OpenChannel(*clock, std::move(options), server));

  const std::wstring path = L"\\\\.\\pipe\\" + std::wstring(name.begin(), name.end());
  HANDLE pipe = CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(pipe, INVALID_HANDLE_VALUE);
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  constexpr SECURITY_INFORMATION kParts = DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION;
  PACL label = nullptr;
  ASSERT_EQ(GetSecurityInfo(pipe, SE_KERNEL_OBJECT, kParts, nullptr, nullptr, nullptr, &label,
                            &descriptor),
            DWORD{ERROR_SUCCESS});
  // As the programs of this test run: with the rights of an administrator under Wine.
  void* ace = nullptr;
  ASSERT_TRUE(label != nullptr && GetAce(label, 0, &ace) != 0);
  auto& mandatory = *static_cast<SYSTEM_MANDATORY_LABEL_ACE*>(ace);
  EXPECT_EQ(mandatory.Mask,
            DWORD{SYSTEM_MANDATORY_LABEL_NO_READ_UP | SYSTEM_MANDATORY_LABEL_NO_WRITE_UP |
                  SYSTEM_MANDATORY_LABEL_NO_EXECUTE_UP});
  EXPECT_EQ(*GetSidSubAuthority(&mandatory.SidStart, 0), DWORD{SECURITY_MANDATORY_HIGH_RID});
  char* sddl = nullptr;
  ASSERT_NE(ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1,
                                                                 kParts, &sddl, nullptr),
            0);
  EXPECT_EQ(std::string(sddl), "D:P(A;;GA;;;SY)(A;;GA;;;" + TextOfThisUser() + ")");
  LocalFree(sddl);
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

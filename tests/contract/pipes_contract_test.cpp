// Named pipes as the activation pipe uses them: an inbound message pipe with 64-byte buffers, a
// server that takes one client at a time and reads one message of at most 64 bytes, and a client
// that opens, writes and closes, retrying on the errors of a server between clients.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "contract_support.h"
#include "platform/kernel.h"
#include "platform/owners.h"

namespace {

using contract::SeamThread;
using contract::Signal;
using contract::UniqueName;
using platform::KernelHandle;
using platform::UniqueKernelHandle;

constexpr std::uint32_t kMessagePipe = platform::kPipeTypeMessage | platform::kPipeReadmodeMessage;
constexpr std::uint32_t kBufferSize = 64;

std::u16string PipeName() { return u"\\\\.\\pipe\\" + UniqueName(u"KtContractPipe"); }

UniqueKernelHandle CreateServer(const std::u16string& name,
                                std::uint32_t instances = platform::kPipeUnlimitedInstances) {
  return UniqueKernelHandle(platform::CreateNamedPipeW(
      name, platform::kPipeAccessInbound, kMessagePipe, instances, kBufferSize, kBufferSize, 0));
}

UniqueKernelHandle OpenClient(const std::u16string& name) {
  return UniqueKernelHandle(
      platform::CreateFileW(name, platform::kGenericWrite, 0, platform::kOpenExisting, 0));
}

bool Write(KernelHandle pipe, std::string_view bytes) {
  std::uint32_t written = 0;
  return platform::WriteFile(pipe, bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                             &written) &&
         written == bytes.size();
}

// One read of at most kBufferSize bytes, with its result, its error and what arrived.
struct ReadResult {
  bool ok = false;
  unsigned long error = 0;
  std::string bytes;
};

// Untimed without `timeoutMs`; otherwise the overlapped read that gives up after it.
ReadResult ReadMessage(KernelHandle pipe, std::optional<std::uint32_t> timeoutMs = std::nullopt) {
  ReadResult result;
  char buffer[kBufferSize] = {};
  std::uint32_t read = 0;
  platform::SetLastError(platform::kErrorSuccess);
  result.ok = timeoutMs ? platform::ReadFile(pipe, buffer, kBufferSize, &read, *timeoutMs)
                        : platform::ReadFile(pipe, buffer, kBufferSize, &read);
  result.error = platform::GetLastError();
  result.bytes.assign(buffer, read);
  return result;
}

TEST(Pipes, AClientWithoutAServerFailsWithFileNotFound) {
  EXPECT_FALSE(OpenClient(PipeName()));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorFileNotFound);
}

TEST(Pipes, AClientThatCameFirstMakesConnectAnswerPipeConnected) {
  const std::u16string name = PipeName();
  const UniqueKernelHandle server = CreateServer(name);
  ASSERT_TRUE(server);
  const UniqueKernelHandle client = OpenClient(name);
  ASSERT_TRUE(client);
  EXPECT_FALSE(platform::ConnectNamedPipe(server.get()));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorPipeConnected);

  ASSERT_TRUE(Write(client.get(), "SHOW"));
  const ReadResult read = ReadMessage(server.get());
  EXPECT_TRUE(read.ok);
  EXPECT_EQ(read.bytes, "SHOW");
  EXPECT_TRUE(platform::FlushFileBuffers(server.get()));
  EXPECT_TRUE(platform::DisconnectNamedPipe(server.get()));
}

// What the server thread saw, shared with it.
struct ServerReport {
  Signal listening;
  Signal served;
  bool connected = false;
  unsigned long connectError = 0;
  ReadResult read;
  bool flushed = false;
  bool disconnected = false;
};

TEST(Pipes, AServerThreadTakesAClientOfThisProcess) {
  const std::u16string name = PipeName();
  const auto report = std::make_shared<ServerReport>();
  SeamThread server([name, report] {
    const UniqueKernelHandle pipe = CreateServer(name);
    report->listening.Raise();
    if (!pipe) return;
    // The client may come before or after the call: both are a connection.
    report->connected = platform::ConnectNamedPipe(pipe.get());
    report->connectError = report->connected ? 0 : platform::GetLastError();
    report->read = ReadMessage(pipe.get());
    report->served.Raise();
    report->flushed = platform::FlushFileBuffers(pipe.get());
    report->disconnected = platform::DisconnectNamedPipe(pipe.get());
  });
  ASSERT_TRUE(server.started());
  ASSERT_TRUE(report->listening.Wait());
  {
    const UniqueKernelHandle client = OpenClient(name);
    ASSERT_TRUE(client);
    EXPECT_TRUE(Write(client.get(), "SHOW"));
    // A client that came and went before ConnectNamedPipe makes it answer no data instead.
    EXPECT_TRUE(report->served.Wait());
  }
  ASSERT_TRUE(server.Join());
  EXPECT_TRUE(report->connected || report->connectError == platform::kErrorPipeConnected)
      << "ConnectNamedPipe failed with " << report->connectError;
  EXPECT_TRUE(report->read.ok);
  EXPECT_EQ(report->read.bytes, "SHOW");
  EXPECT_TRUE(report->flushed);
  EXPECT_TRUE(report->disconnected);
}

TEST(Pipes, AMessageLongerThanTheReadBufferFailsTheReadWithMoreData) {
  const std::u16string name = PipeName();
  const UniqueKernelHandle server = CreateServer(name);
  ASSERT_TRUE(server);
  const UniqueKernelHandle client = OpenClient(name);
  ASSERT_TRUE(client);
  // The write may wait for the reader: it runs beside this thread.
  const std::string message = "SHOW" + std::string(61, 'x');
  const auto written = std::make_shared<bool>(false);
  SeamThread writer([pipe = client.get(), message, written] { *written = Write(pipe, message); });
  ASSERT_TRUE(writer.started());
  const ReadResult read = ReadMessage(server.get());
  ASSERT_TRUE(writer.Join());
  EXPECT_TRUE(*written);
  EXPECT_FALSE(read.ok);
  EXPECT_EQ(read.error, platform::kErrorMoreData);
  EXPECT_EQ(read.bytes, message.substr(0, kBufferSize));
}

TEST(Pipes, ASecondClientOfTheOnlyInstanceFailsWithPipeBusy) {
  const std::u16string name = PipeName();
  const UniqueKernelHandle server = CreateServer(name, 1);
  ASSERT_TRUE(server);
  const UniqueKernelHandle first = OpenClient(name);
  ASSERT_TRUE(first);
  EXPECT_FALSE(OpenClient(name));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorPipeBusy);
}

TEST(Pipes, AClientThatCameAndWentBeforeConnectLeavesNoDataAndABrokenPipe) {
  const std::u16string name = PipeName();
  const UniqueKernelHandle server = CreateServer(name);
  ASSERT_TRUE(server);
  {
    const UniqueKernelHandle client = OpenClient(name);
    ASSERT_TRUE(client);
  }
  EXPECT_FALSE(platform::ConnectNamedPipe(server.get()));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorNoData);
  const ReadResult read = ReadMessage(server.get());
  EXPECT_FALSE(read.ok);
  EXPECT_EQ(read.error, contract::kErrorBrokenPipe);
  EXPECT_TRUE(read.bytes.empty());
}

TEST(Pipes, AfterTheServerDisconnectsTheClientCannotWrite) {
  const std::u16string name = PipeName();
  const UniqueKernelHandle server = CreateServer(name);
  ASSERT_TRUE(server);
  const UniqueKernelHandle client = OpenClient(name);
  ASSERT_TRUE(client);
  EXPECT_FALSE(platform::ConnectNamedPipe(server.get()));
  ASSERT_TRUE(platform::DisconnectNamedPipe(server.get()));
  EXPECT_FALSE(Write(client.get(), "SHOW"));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorPipeNotConnected);
}

// ---- The activation pipe's hardening: session-only security, no remote client, timed reads ----
// Wine admits a client whatever the pipe's DACL says, so a refused client is no case here.

constexpr std::uint32_t kOverlappedInbound =
    platform::kPipeAccessInbound | platform::kFileFlagOverlapped;
constexpr std::uint32_t kLocalMessagePipe = kMessagePipe | platform::kPipeRejectRemoteClients;

UniqueKernelHandle CreateSecuredServer(const std::u16string& name, std::u16string_view sddl) {
  return UniqueKernelHandle(platform::CreateNamedPipeW(name, kOverlappedInbound, kLocalMessagePipe,
                                                       platform::kPipeUnlimitedInstances,
                                                       kBufferSize, kBufferSize, 0, sddl));
}

std::u16string LogonSid() {
  platform::KernelHandle token{};
  if (!platform::OpenProcessToken(platform::GetCurrentProcess(), platform::kTokenQuery, &token)) {
    return {};
  }
  const UniqueKernelHandle owned(token);
  std::vector<platform::TokenGroup> groups;
  if (!platform::GetTokenGroups(token, &groups)) return {};
  for (const platform::TokenGroup& group : groups) {
    if ((group.attributes & platform::kSeGroupLogonId) == platform::kSeGroupLogonId) {
      return group.sid;
    }
  }
  return {};
}

TEST(Pipes, TheProcessTokenNamesItsLogonSession) {
  const std::u16string sid = LogonSid();
  EXPECT_EQ(sid.rfind(u"S-1-5-5-", 0), 0u) << "no logon SID among the token's groups";
}

TEST(Pipes, APipeForThisLogonSessionAdmitsAClientOfThisProcess) {
  const std::u16string sid = LogonSid();
  ASSERT_FALSE(sid.empty());
  const std::u16string name = PipeName();
  const UniqueKernelHandle server = CreateSecuredServer(name, u"D:P(A;;GA;;;" + sid + u")");
  ASSERT_TRUE(server);
  const UniqueKernelHandle client = OpenClient(name);
  ASSERT_TRUE(client) << "error " << platform::GetLastError();
  EXPECT_FALSE(platform::ConnectNamedPipe(server.get()));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorPipeConnected);
  ASSERT_TRUE(Write(client.get(), "SHOW"));
  const ReadResult read = ReadMessage(server.get(), 1000);
  EXPECT_TRUE(read.ok);
  EXPECT_EQ(read.bytes, "SHOW");
}

TEST(Pipes, ASecurityTextThatIsNoDescriptorMakesNoPipe) {
  EXPECT_FALSE(CreateSecuredServer(PipeName(), u"not a descriptor"));
  EXPECT_NE(platform::GetLastError(), platform::kErrorSuccess);
}

TEST(Pipes, ATimedReadOfAClientThatNeverWritesIsCancelledAfterItsWait) {
  const std::u16string name = PipeName();
  const UniqueKernelHandle server = CreateSecuredServer(name, u"D:P(A;;GA;;;WD)");
  ASSERT_TRUE(server);
  const UniqueKernelHandle client = OpenClient(name);
  ASSERT_TRUE(client);
  EXPECT_FALSE(platform::ConnectNamedPipe(server.get()));
  const ReadResult read = ReadMessage(server.get(), 100);
  EXPECT_FALSE(read.ok);
  EXPECT_EQ(read.error, platform::kErrorOperationAborted);
  EXPECT_TRUE(read.bytes.empty());
  // The pipe is fit for the next client once this one is let go.
  EXPECT_TRUE(platform::DisconnectNamedPipe(server.get()));
}

TEST(Pipes, ATimedReadOfALongMessageFailsWithMoreDataAndKeepsItsFirstBytes) {
  const std::u16string name = PipeName();
  const UniqueKernelHandle server = CreateSecuredServer(name, u"D:P(A;;GA;;;WD)");
  ASSERT_TRUE(server);
  const UniqueKernelHandle client = OpenClient(name);
  ASSERT_TRUE(client);
  const std::string message = "SHOW" + std::string(61, 'x');
  const auto written = std::make_shared<bool>(false);
  SeamThread writer([pipe = client.get(), message, written] { *written = Write(pipe, message); });
  ASSERT_TRUE(writer.started());
  const ReadResult read = ReadMessage(server.get(), 5000);
  ASSERT_TRUE(writer.Join());
  EXPECT_TRUE(*written);
  EXPECT_FALSE(read.ok);
  EXPECT_EQ(read.error, platform::kErrorMoreData);
  EXPECT_EQ(read.bytes, message.substr(0, kBufferSize));
}

TEST(Pipes, ATimedReadOfAClientThatLeftFailsWithABrokenPipe) {
  const std::u16string name = PipeName();
  const UniqueKernelHandle server = CreateSecuredServer(name, u"D:P(A;;GA;;;WD)");
  ASSERT_TRUE(server);
  {
    const UniqueKernelHandle client = OpenClient(name);
    ASSERT_TRUE(client);
  }
  EXPECT_FALSE(platform::ConnectNamedPipe(server.get()));
  const ReadResult read = ReadMessage(server.get(), 5000);
  EXPECT_FALSE(read.ok);
  EXPECT_EQ(read.error, contract::kErrorBrokenPipe);
}

}  // namespace

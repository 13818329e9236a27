// What the environment can do to a program that runs with more rights than its user.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "support/child_process.h"
#include "support/listener.h"
#include "support/scoped_variable.h"
#include "support/temporary_folder.h"

namespace Veltro::Internal::Testing {
namespace {

using namespace std::chrono_literals;

constexpr uid_t kUser = 65533;
constexpr uid_t kOwner = 65534;  // has no home folder

void WriteConfiguration(const std::filesystem::path& folder, const std::string& server) {
  std::filesystem::create_directory(folder);
  std::ofstream(folder / "VeltroConfig.json")
      << R"({"analytics":{"rsids":"s","offlineEnabled":true,"server":")" << server << "\"}}";
}

class RaisedRightsTest : public testing::Test {
 protected:
  RaisedRightsTest() {
    std::filesystem::permissions(folder_.Path(), std::filesystem::perms(0777));
    WriteConfiguration(folder_.Path() / "installed", own_.host);
    WriteConfiguration(folder_.Path() / "tempting", tempting_.host);
    std::filesystem::copy_file(VELTRO_ENDING_APPLICATION, Program());
  }

  std::filesystem::path Program() const { return folder_.Path() / "installed" / "application"; }
  std::filesystem::path Data() const { return folder_.Path() / "data"; }

  /// Runs the program until it has connected to somebody; whether that is `tempting_`.
  bool IsTempted() {
    int input[2];
    EXPECT_EQ(pipe2(input, O_CLOEXEC), 0);
    const pid_t id = fork();
    if (id == 0) {
      dup2(input[0], STDIN_FILENO);
      if (setgid(kUser) != 0 || setuid(kUser) != 0) _exit(4);
      execl(Program().c_str(), "application", "waiting", nullptr);
      _exit(5);
    }
    pollfd sockets[] = {{own_.socket, POLLIN, 0}, {tempting_.socket, POLLIN, 0}};
    EXPECT_EQ(poll(sockets, 2, 20'000), 1) << "no connection";
    close(input[0]);
    close(input[1]);
    WaitForEnd(id, 20s);
    for (const auto& each : sockets) {
      if (each.revents != 0) close(accept(each.fd, nullptr, nullptr));
    }
    return sockets[1].revents != 0;
  }

  TemporaryFolder folder_;
  Listener own_;
  Listener tempting_;
};

TEST_F(RaisedRightsTest, TheEnvironmentCountsForNothing) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a program with raised rights";
  const ScopedVariable data("VELTRO_DATA_DIR", Data().c_str());
  const ScopedVariable noProxy("no_proxy", nullptr);
  const std::pair<const char*, std::string> rows[] = {
      {"http_proxy", "http://" + tempting_.host},
      {"VELTRO_DRY_RUN", tempting_.host},
      {"VELTRO_PACKAGE_DIR", folder_.Path() / "tempting"}};
  for (const auto& [name, value] : rows) {
    SCOPED_TRACE(name);
    const ScopedVariable variable(name, value.c_str());
    ASSERT_EQ(chmod(Program().c_str(), 0755), 0);
    EXPECT_TRUE(IsTempted()) << "with the rights of its user";
    EXPECT_GT(std::filesystem::remove_all(Data()), 0U);

    ASSERT_EQ(chown(Program().c_str(), kOwner, kOwner), 0);
    ASSERT_EQ(chmod(Program().c_str(), 04755), 0);
    EXPECT_FALSE(IsTempted());
    EXPECT_FALSE(std::filesystem::exists(Data()));
  }
}

}  // namespace
}  // namespace Veltro::Internal::Testing

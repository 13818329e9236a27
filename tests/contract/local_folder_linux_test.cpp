#include "platform/linux/local_folder_linux.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <memory>

#include "platform/platform_error.h"
#include "support/temporary_folder.h"

namespace Veltro::Internal::Testing {
namespace {

namespace fs = std::filesystem;

void WriteFile(const fs::path& path, std::string_view bytes) { std::ofstream(path) << bytes; }

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

unsigned ModeOf(const fs::path& path) {
  return static_cast<unsigned>(fs::symlink_status(path).permissions());
}

class LocalFolderLinuxTest : public testing::Test {
 protected:
  TemporaryFolder temporary;
  fs::path data = temporary.Path() / "data";
  LocalFolderLinux folder{std::make_shared<DataFolder>(data, [] { return std::string(); })};
};

TEST_F(LocalFolderLinuxTest, ReadingCreatesNoFolder) {
  folder.Read("a");
  folder.Open("a");
  EXPECT_FALSE(fs::exists(data));
}

TEST_F(LocalFolderLinuxTest, NewFilesAreTheUsersOwnUnderAnyUmask) {
  for (const mode_t mask : {0U, 022U, 077U, 0277U}) {
    if ((mask & 0700U) == 0) fs::remove_all(data);
    const mode_t before = umask(mask);
    folder.Replace("a")->Commit();
    EXPECT_EQ(umask(before), mask);
    EXPECT_EQ(ModeOf(data), 0700U) << std::oct << mask;
    EXPECT_EQ(ModeOf(data / "a"), 0600U) << std::oct << mask;
  }
}

TEST_F(LocalFolderLinuxTest, LooseFilesAndFoldersAreTightened) {
  fs::create_directory(data);
  chmod(data.c_str(), 0755);
  for (const char* name : {"read", "opened"}) {
    WriteFile(data / name, name);
    chmod((data / name).c_str(), 0666);
  }
  EXPECT_EQ(folder.Read("read"), "read");
  EXPECT_NE(folder.Open("opened"), nullptr);
  EXPECT_EQ(ModeOf(data), 0700U);
  EXPECT_EQ(ModeOf(data / "read"), 0600U);
  EXPECT_EQ(ModeOf(data / "opened"), 0600U);
}

TEST_F(LocalFolderLinuxTest, PlantedNonFilesAreRefusedAndVictimsUntouched) {
  const fs::path victim = temporary.Path() / "victim";
  fs::create_directory(data);
  WriteFile(victim, "precious");
  chmod(victim.c_str(), 0644);
  fs::create_symlink(victim, data / "link");
  fs::create_symlink(temporary.Path() / "missing", data / "dangling");
  fs::create_directory(data / "folder");
  ASSERT_EQ(mkfifo((data / "fifo").c_str(), 0600), 0);
  for (const char* name : {"link", "dangling", "folder", "fifo"}) {
    EXPECT_THROW(folder.Read(name), PlatformError) << name;
    EXPECT_THROW(folder.Open(name), PlatformError) << name;
  }
  EXPECT_EQ(ReadFile(victim), "precious");
  EXPECT_EQ(ModeOf(victim), 0644U);
}

TEST_F(LocalFolderLinuxTest, ReplacementTakesThePlaceOfPlantedNamesUnfollowed) {
  const fs::path victim = temporary.Path() / "victim";
  fs::create_directory(data);
  WriteFile(victim, "precious");
  for (const char* name : {"a", "a.tmp"}) fs::create_symlink(victim, data / name);
  const auto replacement = folder.Replace("a");
  replacement->Append("new");
  replacement->Commit();
  EXPECT_EQ(ReadFile(victim), "precious");
  EXPECT_EQ(folder.Read("a"), "new");
}

TEST_F(LocalFolderLinuxTest, FailuresNameTheOperationAndTheFile) {
  WriteFile(data, "a file where the folder should be");
  const auto messageOf = [](const auto& operation) -> std::string {
    try {
      operation();
    } catch (const PlatformError& error) {
      return error.what();
    }
    return "no failure";
  };
  EXPECT_EQ(messageOf([&] { folder.Read("a"); }), "open " + data.native() + ": Not a directory");
  EXPECT_EQ(messageOf([&] { folder.Replace("a"); }), "open " + data.native() + ": Not a directory");
  fs::remove(data);
  fs::create_directories(data / "a");
  EXPECT_EQ(messageOf([&] { folder.Open("a"); }), "open a: Is a directory");
  EXPECT_EQ(messageOf([&] { folder.Replace("a")->Commit(); }), "rename a.tmp: Is a directory");
  EXPECT_FALSE(fs::exists(data / "a.tmp"));
}

TEST_F(LocalFolderLinuxTest, RefusedWritesAreReported) {
  const FileDescriptor full(open("/dev/full", O_RDWR | O_CLOEXEC));
  if (!full) GTEST_SKIP() << "no /dev/full here";
  try {
    WriteAt(full, "a", 0, "bytes");
    FAIL() << "a full device took the bytes";
  } catch (const PlatformError& error) {
    EXPECT_STREQ(error.what(), "write a: No space left on device");
  }
}

TEST_F(LocalFolderLinuxTest, WriteThatTheSystemTakesInPartsIsFinishedOrFails) {
  constexpr rlim_t kLimit = 100;
  const auto file = folder.Replace("a")->Commit();
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit limited{kLimit, before.rlim_max};
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &limited);
  EXPECT_THROW(file->Write(0, std::string(2 * kLimit, 'x')), PlatformError);
  setrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, handler);
  EXPECT_EQ(folder.Read("a"), std::string(kLimit, 'x'));
}

TEST_F(LocalFolderLinuxTest, FilesAreNotInherited) {
  const auto file = folder.Replace("a")->Commit();
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    if (fs::read_symlink(entry, gone) != fs::canonical(data / "a")) continue;
    const int descriptor = std::stoi(entry.path().filename());
    EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
    return;
  }
  FAIL() << "the file is not open";
}

}  // namespace
}  // namespace Veltro::Internal::Testing

#include "sim_platform.h"

#include <map>
#include <mutex>
#include <set>

#include <openssl/evp.h>

#include "platform/debug_output.h"
#include "platform/files.h"
#include "platform/sha256.h"
#include "base/text.h"

namespace {

struct FileEntry {
  std::string bytes;
  bool readOnly = false;
  bool heldOpen = false;
  bool heldSharesWrite = true;
};

struct State {
  std::mutex lock;  // the log is written from several threads
  std::optional<std::u16string> commonAppData = u"C:\\ProgramData";
  std::set<std::u16string> directories;       // folded
  std::map<std::u16string, FileEntry> files;  // folded
  std::vector<std::u16string> created;
  platform::LocalTime time{2026, 3, 7, 9, 5, 2};
  std::vector<std::string> debug;
  bool sha256Fails = false;
  std::vector<std::string> journal;
  std::vector<unsigned> sleeps;
  std::function<void(unsigned)> sleepHook;
};

State& S() {
  static State state;
  return state;
}

std::u16string Parent(const std::u16string& path) {
  const size_t slash = path.rfind(u'\\');
  return slash == std::u16string::npos ? std::u16string() : path.substr(0, slash);
}

bool IsDrive(const std::u16string& path) { return path.size() == 2 && path[1] == u':'; }

bool ParentExists(const std::u16string& path) {
  const std::u16string parent = Parent(path);
  return !parent.empty() && (IsDrive(parent) || S().directories.count(FoldCase(parent)) != 0);
}

void ResetLocked() {
  State& s = S();
  s.commonAppData = u"C:\\ProgramData";
  s.directories = {u"c:\\programdata"};
  s.files.clear();
  s.created.clear();
  s.time = {2026, 3, 7, 9, 5, 2};
  s.debug.clear();
  s.sha256Fails = false;
  s.journal.clear();
  s.sleeps.clear();
  s.sleepHook = nullptr;
}

}  // namespace

namespace sim {

void ResetSimulation() {
  std::lock_guard guard(S().lock);
  ResetLocked();
}

std::vector<std::string> Journal() {
  std::lock_guard guard(S().lock);
  return S().journal;
}

void Record(std::string entry) {
  std::lock_guard guard(S().lock);
  S().journal.push_back(std::move(entry));
}

void SetCommonAppDataFolder(std::optional<std::u16string> folder) {
  std::lock_guard guard(S().lock);
  S().commonAppData = std::move(folder);
}

bool DirectoryExists(const std::u16string& path) {
  std::lock_guard guard(S().lock);
  return S().directories.count(FoldCase(path)) != 0;
}

void AddDirectory(const std::u16string& path) {
  std::lock_guard guard(S().lock);
  std::u16string folded = FoldCase(path);
  for (size_t i = 0; i <= folded.size(); ++i) {
    if (i == folded.size() || folded[i] == u'\\') {
      const std::u16string prefix = folded.substr(0, i);
      if (!IsDrive(prefix)) S().directories.insert(prefix);
    }
  }
}

void SetFile(const std::u16string& path, const std::string& bytes) {
  std::lock_guard guard(S().lock);
  S().files[FoldCase(path)].bytes = bytes;
}

std::optional<std::string> GetFile(const std::u16string& path) {
  std::lock_guard guard(S().lock);
  const auto it = S().files.find(FoldCase(path));
  if (it == S().files.end()) return std::nullopt;
  return it->second.bytes;
}

void RemoveFile(const std::u16string& path) {
  std::lock_guard guard(S().lock);
  S().files.erase(FoldCase(path));
}

void SetReadOnly(const std::u16string& path, bool readOnly) {
  std::lock_guard guard(S().lock);
  S().files[FoldCase(path)].readOnly = readOnly;
}

void HoldOpenByOtherProcess(const std::u16string& path, bool sharesWrite) {
  std::lock_guard guard(S().lock);
  FileEntry& entry = S().files[FoldCase(path)];
  entry.heldOpen = true;
  entry.heldSharesWrite = sharesWrite;
}

std::vector<std::u16string> CreatedDirectories() {
  std::lock_guard guard(S().lock);
  return S().created;
}

void SetLocalTime(const platform::LocalTime& time) {
  std::lock_guard guard(S().lock);
  S().time = time;
}

unsigned long long SleptMilliseconds() {
  std::lock_guard guard(S().lock);
  unsigned long long total = 0;
  for (const unsigned ms : S().sleeps) total += ms;
  return total;
}

std::vector<unsigned> Sleeps() {
  std::lock_guard guard(S().lock);
  return S().sleeps;
}

void SetSleepHook(std::function<void(unsigned)> hook) {
  std::lock_guard guard(S().lock);
  S().sleepHook = std::move(hook);
}

std::vector<std::string> DebugOutput() {
  std::lock_guard guard(S().lock);
  return S().debug;
}

void SetSha256Fails(bool fails) {
  std::lock_guard guard(S().lock);
  S().sha256Fails = fails;
}

}  // namespace sim

namespace platform {

std::optional<std::u16string> SHGetFolderPathW(int csidl) {
  std::lock_guard guard(S().lock);
  if (csidl != kCsidlCommonAppData) return std::nullopt;
  return S().commonAppData;
}

bool CreateDirectoryW(const std::u16string& path) {
  std::lock_guard guard(S().lock);
  const std::u16string folded = FoldCase(path);
  if (IsDrive(path) || S().directories.count(folded) != 0 || !ParentExists(path)) return false;
  S().directories.insert(folded);
  S().created.push_back(path);
  return true;
}

namespace {

// The open that a writer makes: fails for a missing parent, a read-only file, or a file that
// another process holds open without sharing write access.
FileEntry* OpenForWriting(const std::u16string& path) {
  const std::u16string folded = FoldCase(path);
  auto it = S().files.find(folded);
  if (it == S().files.end()) {
    if (!ParentExists(path)) return nullptr;
    return &S().files[folded];
  }
  if (it->second.readOnly || (it->second.heldOpen && !it->second.heldSharesWrite)) return nullptr;
  return &it->second;
}

}  // namespace

bool AppendFileShared(const std::u16string& path, std::string_view bytes) {
  std::lock_guard guard(S().lock);
  FileEntry* file = OpenForWriting(path);
  if (!file) return false;
  file->bytes.append(bytes);
  std::string line(bytes);
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  S().journal.push_back("append: " + line);
  return true;
}

std::optional<std::string> ReadFileShared(const std::u16string& path) {
  std::lock_guard guard(S().lock);
  const auto it = S().files.find(FoldCase(path));
  if (it == S().files.end()) return std::nullopt;
  if (it->second.heldOpen && !it->second.heldSharesWrite) return std::nullopt;
  return it->second.bytes;
}

bool ReplaceFileShared(const std::u16string& path, std::string_view bytes) {
  std::lock_guard guard(S().lock);
  FileEntry* file = OpenForWriting(path);
  if (!file) return false;
  file->bytes.assign(bytes);
  return true;
}

LocalTime GetLocalTime() {
  std::lock_guard guard(S().lock);
  return S().time;
}

void Sleep(unsigned milliseconds) {
  std::function<void(unsigned)> hook;
  {
    std::lock_guard guard(S().lock);
    S().sleeps.push_back(milliseconds);
    S().journal.push_back("Sleep " + std::to_string(milliseconds));
    hook = S().sleepHook;
  }
  if (hook) hook(milliseconds);
}

void OutputDebugStringA(std::string_view text) {
  std::lock_guard guard(S().lock);
  S().debug.emplace_back(text);
}

void OutputDebugStringW(std::u16string_view text) {
  const std::string utf8 = WideToUtf8(text);
  std::lock_guard guard(S().lock);
  S().debug.push_back(utf8);
}

std::optional<Sha256Digest> ComputeSha256(std::string_view bytes) {
  {
    std::lock_guard guard(S().lock);
    if (S().sha256Fails) return std::nullopt;
  }
  Sha256Digest digest{};
  unsigned int length = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1 ||
      length != digest.size()) {
    return std::nullopt;
  }
  return digest;
}

}  // namespace platform

#include "kx/store.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "kx/paths.h"
#include "kx/store_file.h"

namespace kx {

namespace {

constexpr const char* kDamagedSuffix = ".damaged";
constexpr const char* kTempSuffix = ".tmp";
// Object files hold passwords and keys: owner only.
constexpr mode_t kFileMode = 0600;

// Object files are named by the id in canonical decimal ("7", never "07").
bool parseId(const char* name, uint32_t& id) {
  const size_t n = std::strlen(name);
  if (n == 0 || n > 10 || (n > 1 && name[0] == '0')) return false;
  uint64_t v = 0;
  for (size_t i = 0; i < n; ++i) {
    if (name[i] < '0' || name[i] > '9') return false;
    v = v * 10 + static_cast<uint64_t>(name[i] - '0');
  }
  if (v > 0xffffffffu) return false;
  id = static_cast<uint32_t>(v);
  return true;
}

// Temporary files are ".<id>.<pid>.tmp": hidden, never taken for an
// object, and tied to the process that writes them.
bool parseTempPid(const std::string& name, pid_t& pid) {
  const size_t sl = std::strlen(kTempSuffix);
  if (name.size() < 1 + sl || name[0] != '.' ||
      name.compare(name.size() - sl, sl, kTempSuffix) != 0)
    return false;
  const std::string mid = name.substr(1, name.size() - 1 - sl);
  const size_t dot = mid.find('.');
  if (dot == std::string::npos) return false;
  const std::string p = mid.substr(dot + 1);
  if (p.empty() || p.size() > 9 || p.find_first_not_of("0123456789") != std::string::npos)
    return false;
  pid = static_cast<pid_t>(std::stol(p));
  return true;
}

bool writeAll(int fd, const std::string& data) {
  size_t done = 0;
  while (done < data.size()) {
    const ssize_t n = ::write(fd, data.data() + done, data.size() - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    done += static_cast<size_t>(n);
  }
  return true;
}

// Makes a rename or unlink in dir durable.
bool syncDir(const std::string& dir) {
  const int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return false;
  const bool ok = ::fsync(fd) == 0;
  ::close(fd);
  return ok;
}

// Reads at most limit + 1 bytes, so an oversized file is seen as such
// without reading all of it.  False when the file cannot be opened.
bool readFile(const std::string& path, size_t limit, std::string& out, int& err) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    err = errno;
    return false;
  }
  out.clear();
  char buf[16384];
  while (out.size() <= limit) {
    const ssize_t n = ::read(fd, buf, sizeof buf);
    if (n < 0) {
      if (errno == EINTR) continue;
      err = errno;
      ::close(fd);
      return false;
    }
    if (n == 0) break;
    out.append(buf, static_cast<size_t>(n));
  }
  ::close(fd);
  return true;
}

}  // namespace

Store::Store(const std::string& path, unsigned version)
    : dir_(rootPath(path)), version_(version) {
  if (!makeDirs(dir_)) {
    std::fprintf(stderr, "kx: store %s: cannot create the directory: %s\n", dir_.c_str(),
                 std::strerror(errno));
    return;
  }
  // Temporary files of writers that died before their rename are
  // leftovers: the object they were replacing is still intact.
  DIR* d = ::opendir(dir_.c_str());
  if (!d) return;
  while (dirent* e = ::readdir(d)) {
    pid_t pid;
    if (parseTempPid(e->d_name, pid) && pid != ::getpid() && ::kill(pid, 0) != 0 &&
        errno == ESRCH)
      ::unlink((dir_ + "/" + e->d_name).c_str());
  }
  ::closedir(d);
}

std::vector<uint32_t> Store::ids() const {
  std::vector<uint32_t> out;
  DIR* d = ::opendir(dir_.c_str());
  if (!d) return out;
  while (dirent* e = ::readdir(d)) {
    uint32_t id;
    if (e->d_type != DT_DIR && parseId(e->d_name, id)) out.push_back(id);
  }
  ::closedir(d);
  std::sort(out.begin(), out.end());
  return out;
}

bool Store::has(uint32_t id) const {
  struct stat st;
  return ::stat((dir_ + "/" + std::to_string(id)).c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool Store::load(uint32_t id, message& out) const {
  out.clear();
  const std::string name = std::to_string(id);
  const std::string path = dir_ + "/" + name;
  std::string bytes;
  int err = 0;
  if (!readFile(path, StoreFile::kMaxFileSize, bytes, err)) {
    if (err != ENOENT)
      std::fprintf(stderr, "kx: store %s: cannot read object %u: %s\n", dir_.c_str(), id,
                   std::strerror(err));
    return false;
  }
  std::string why;
  unsigned version = 0;
  if (bytes.size() > StoreFile::kMaxFileSize)
    why = "larger than " + std::to_string(StoreFile::kMaxFileSize) + " bytes";
  else if (StoreFile::decode(bytes.data(), bytes.size(), out, version, why))
    return true;
  // Set the file aside so that it is reported once and a later save of the
  // same id starts afresh; the bytes stay for inspection.
  const std::string aside = name + kDamagedSuffix;
  if (::rename(path.c_str(), (dir_ + "/" + aside).c_str()) == 0) {
    syncDir(dir_);
    std::fprintf(stderr, "kx: store %s: object %u is damaged (%s), set aside as %s\n",
                 dir_.c_str(), id, why.c_str(), aside.c_str());
  } else {
    std::fprintf(stderr, "kx: store %s: object %u is damaged (%s), cannot set it aside: %s\n",
                 dir_.c_str(), id, why.c_str(), std::strerror(errno));
  }
  return false;
}

std::vector<std::pair<uint32_t, message>> Store::loadAll() const {
  std::vector<std::pair<uint32_t, message>> out;
  for (uint32_t id : ids()) {
    message m;
    if (load(id, m)) out.emplace_back(id, std::move(m));
  }
  return out;
}

bool Store::save(uint32_t id, const message& m) {
  const std::string data = StoreFile::encode(m, version_);
  if (data.size() > StoreFile::kMaxFileSize) {
    std::fprintf(stderr, "kx: store %s: object %u not written: %zu bytes is over the limit\n",
                 dir_.c_str(), id, data.size());
    return false;
  }
  const std::string name = std::to_string(id);
  const std::string temp =
      dir_ + "/." + name + "." + std::to_string(::getpid()) + kTempSuffix;
  const std::string path = dir_ + "/" + name;
  int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kFileMode);
  if (fd < 0 && errno == ENOENT && makeDirs(dir_))  // directory removed under us
    fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kFileMode);
  const char* step = "create";
  bool ok = fd >= 0;
  if (ok && !(ok = writeAll(fd, data))) step = "write";
  if (ok && !(ok = ::fsync(fd) == 0)) step = "sync";
  if (fd >= 0 && ::close(fd) != 0 && ok) {
    ok = false;
    step = "close";
  }
  if (ok && !(ok = ::rename(temp.c_str(), path.c_str()) == 0)) step = "rename";
  if (ok && !(ok = syncDir(dir_))) step = "sync the directory after writing";
  if (!ok) {
    const int err = errno;
    if (fd >= 0) ::unlink(temp.c_str());
    std::fprintf(stderr, "kx: store %s: cannot %s object %u: %s\n", dir_.c_str(), step, id,
                 std::strerror(err));
  }
  return ok;
}

bool Store::remove(uint32_t id) {
  const std::string path = dir_ + "/" + std::to_string(id);
  if (::unlink(path.c_str()) != 0) {
    if (errno != ENOENT)
      std::fprintf(stderr, "kx: store %s: cannot remove object %u: %s\n", dir_.c_str(), id,
                   std::strerror(errno));
    return false;
  }
  syncDir(dir_);
  return true;
}

}  // namespace kx

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

#include "kx/platform.h"
#include "kx/store_file.h"

namespace kx {

namespace {

constexpr const char* kDamagedSuffix = ".damaged";
constexpr const char* kPreviousSuffix = ".prev";
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

// One way to fail: what was being done to which file, and errno.
struct Failure {
  std::string what;  // "create /r/sarn/store/snmpd/.0.17.tmp"
  int err = 0;
};

bool fail(Failure* f, const std::string& what) {
  if (f) *f = Failure{what, errno};
  return false;
}

// Writes bytes to temp (created afresh) and syncs them.
bool writeSynced(const std::string& temp, const std::string& bytes, Failure* f) {
  const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kFileMode);
  if (fd < 0) return fail(f, "create " + temp);
  bool ok = writeAll(fd, bytes) || fail(f, "write " + temp);
  ok = ok && (::fsync(fd) == 0 || fail(f, "sync " + temp));
  if (::close(fd) != 0 && ok) ok = fail(f, "close " + temp);
  if (!ok) ::unlink(temp.c_str());
  return ok;
}

// Makes path hold the object m of a store of the given version, replacing
// what path named before, atomically through temp.  from holds m already:
// when shareable, path may become a hard link to it instead of a copy.
bool replaceWithCopy(const std::string& from, bool shareable, const std::string& path,
                     const std::string& temp, const message& m, unsigned version, Failure* f) {
  ::unlink(temp.c_str());
  if (!(shareable && ::link(from.c_str(), temp.c_str()) == 0) &&
      !writeSynced(temp, StoreFile::encode(m, version), f))
    return false;
  if (::rename(temp.c_str(), path.c_str()) != 0) {
    fail(f, "rename " + temp + " to " + path);
    ::unlink(temp.c_str());
    return false;
  }
  return true;
}

}  // namespace

Store::Store(const std::string& path, unsigned version) : dir_(rootPath(path)), version_(version) {
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
    if (parseTempPid(e->d_name, pid) && pid != ::getpid() && ::kill(pid, 0) != 0 && errno == ESRCH)
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

bool Store::read(const std::string& path, message& out, std::string& why, int& err) const {
  std::string bytes;
  err = 0;
  if (!readFile(path, StoreFile::kMaxFileSize, bytes, err)) return false;
  unsigned version = 0;
  if (bytes.size() > StoreFile::kMaxFileSize) {
    why = "larger than " + std::to_string(StoreFile::kMaxFileSize) + " bytes";
    return false;
  }
  return StoreFile::decode(bytes.data(), bytes.size(), out, version, why);
}

bool Store::load(uint32_t id, message& out) const {
  out.clear();
  const std::string name = std::to_string(id);
  const std::string path = dir_ + "/" + name;
  std::string why;
  int err = 0;
  if (read(path, out, why, err)) return true;
  if (err != 0) {
    if (err != ENOENT)
      std::fprintf(stderr, "kx: store %s: cannot read object %u: %s\n", dir_.c_str(), id,
                   std::strerror(err));
    return false;
  }
  // Set the damaged file aside so that it is reported once and a later
  // save of the same id starts afresh; the bytes stay for inspection.
  const std::string aside = name + kDamagedSuffix;
  const std::string previous = path + kPreviousSuffix;
  std::string whyPrevious;
  int errPrevious = 0;
  const bool fallBack = read(previous, out, whyPrevious, errPrevious);
  if (::rename(path.c_str(), (dir_ + "/" + aside).c_str()) != 0) {
    std::fprintf(stderr, "kx: store %s: object %u is damaged (%s), cannot set it aside: %s\n",
                 dir_.c_str(), id, why.c_str(), std::strerror(errno));
    return fallBack;
  }
  if (!fallBack) {
    syncDir(dir_);
    std::fprintf(stderr, "kx: store %s: object %u is damaged (%s), set aside as %s\n", dir_.c_str(),
                 id, why.c_str(), aside.c_str());
    return false;
  }
  // A copy of the previous generation becomes the current one, and the
  // previous one stays for a second fault: two files, so that damage to
  // the blocks of one leaves the other whole.
  Failure f;
  const std::string temp = dir_ + "/." + name + "." + std::to_string(::getpid()) + kTempSuffix;
  std::string trouble;
  if (!replaceWithCopy(previous, false, path, temp, out, version_, &f))
    trouble = " (cannot put it back: " + f.what + ": " + std::strerror(f.err) + ")";
  syncDir(dir_);
  std::fprintf(stderr,
               "kx: store %s: object %u is damaged (%s), set aside as %s; its previous "
               "generation is used%s\n",
               dir_.c_str(), id, why.c_str(), aside.c_str(), trouble.c_str());
  return true;
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
  const std::string path = dir_ + "/" + name;
  const std::string previous = path + kPreviousSuffix;
  const std::string pid = std::to_string(::getpid());
  const std::string temp = dir_ + "/." + name + "." + pid + kTempSuffix;
  Failure f;
  bool ok = writeSynced(temp, data, &f);
  if (!ok && f.err == ENOENT && makeDirs(dir_)) ok = writeSynced(temp, data, &f);  // dir removed
  if (ok) {
    // The object being replaced becomes the previous generation, unless it
    // is damaged: then the previous generation stays what it was.  An
    // object written afresh has none (a leftover of a removed one goes).
    message current;
    std::string why;
    int err = 0;
    if (read(path, current, why, err)) {
      Failure pf;
      const std::string ptemp = dir_ + "/." + name + "p." + pid + kTempSuffix;
      // The file being replaced keeps its blocks: a second name suffices.
      if (!replaceWithCopy(path, true, previous, ptemp, current, version_, &pf))
        std::fprintf(stderr,
                     "kx: store %s: object %u: cannot keep its previous generation: %s: %s\n",
                     dir_.c_str(), id, pf.what.c_str(), std::strerror(pf.err));
    } else if (err == ENOENT) {
      ::unlink(previous.c_str());
    }
    ok = ::rename(temp.c_str(), path.c_str()) == 0 || fail(&f, "rename " + temp + " to " + path);
    if (!ok) ::unlink(temp.c_str());
  }
  ok = ok && (syncDir(dir_) || fail(&f, "sync the directory " + dir_));
  if (!ok)
    std::fprintf(stderr, "kx: store %s: object %u not saved: cannot %s: %s\n", dir_.c_str(), id,
                 f.what.c_str(), std::strerror(f.err));
  return ok;
}

bool Store::remove(uint32_t id) {
  const std::string path = dir_ + "/" + std::to_string(id);
  // The previous generation goes first: a crash in between leaves the
  // object as it was, never an older one in its place.
  ::unlink((path + kPreviousSuffix).c_str());
  if (::unlink(path.c_str()) != 0) {
    if (errno != ENOENT)
      std::fprintf(stderr, "kx: store %s: cannot remove object %u: %s\n", dir_.c_str(), id,
                   std::strerror(errno));
    return false;
  }
  syncDir(dir_);
  return true;
}

// kNone is never handed out, so the range ends below it.
Allocator::Allocator(uint32_t min, uint32_t max) : min_(min), max_(max < kNone ? max : kNone - 1) {}

// taken_ is ordered, so the lowest free id is the first gap in the run of
// taken ids that starts at min_.
uint32_t Allocator::alloc() {
  if (min_ > max_) return kNone;
  uint32_t candidate = min_;
  for (auto it = taken_.lower_bound(min_); it != taken_.end() && *it == candidate; ++it) {
    if (candidate == max_) return kNone;
    ++candidate;
  }
  taken_.insert(candidate);
  return candidate;
}

bool Allocator::reserve(uint32_t id) {
  if (id < min_ || id > max_ || id == kNone) return false;
  return taken_.insert(id).second;
}

void Allocator::free(uint32_t id) { taken_.erase(id); }

bool Allocator::taken(uint32_t id) const { return taken_.count(id) != 0; }

}  // namespace kx

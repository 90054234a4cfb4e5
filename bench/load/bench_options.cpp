#include "bench/load/bench_options.h"

#include <cstdio>
#include <cstdlib>

namespace bench {

bool parseCount(const char* text, uint64_t least, uint64_t most, uint64_t* out) {
  char* end = nullptr;
  if (*text < '0' || *text > '9') return false;
  const uint64_t n = std::strtoull(text, &end, 10);
  if (*end != '\0' || n < least || n > most) return false;
  *out = n;
  return true;
}

int parseOptions(int argc, char** argv, const char* program, const char* usage,
                 const OptionTaker& take, const FlagTaker& flag) {
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--help" || arg == "-h") {
      std::fputs(usage, stdout);
      return 0;
    }
    if (flag && flag(arg)) continue;
    const std::string why =
        i + 1 < argc ? take(arg, argv[i + 1]) : "is not an option, or lacks its value";
    if (why.empty()) {
      ++i;
      continue;
    }
    std::fprintf(stderr, "%s: %s %s (try --help)\n", program, arg.c_str(), why.c_str());
    return kUsageError;
  }
  return -1;
}

}  // namespace bench

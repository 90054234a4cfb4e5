// The benchmarks' command lines: options written "--name VALUE", and
// --help.
#ifndef BENCH_LOAD_BENCH_OPTIONS_H_
#define BENCH_LOAD_BENCH_OPTIONS_H_

#include <cstdint>
#include <functional>
#include <string>

namespace bench {

// Exit status of a bad command line.
constexpr int kUsageError = 2;

// A count written in decimal digits only, within [least, most].
bool parseCount(const char* text, uint64_t least, uint64_t most, uint64_t* out);

// Takes one option and its value: "" when it is taken, else what is wrong,
// as it reads after the option's name ("is not an option", "wants a count
// from 1 to 50, not 'x'").
using OptionTaker = std::function<std::string(const std::string& name, const char* value)>;

// Takes an option that has no value (a flag): true when name is one.
using FlagTaker = std::function<bool(const std::string& name)>;

// Goes through argv: --help or -h prints usage on standard output and
// yields 0; a flag goes to flag (when given), every other option to take
// with its value.  A missing value or what take refuses prints "program:
// option reason" on standard error and yields kUsageError.  -1 when all
// were taken.
int parseOptions(int argc, char** argv, const char* program, const char* usage,
                 const OptionTaker& take, const FlagTaker& flag = nullptr);

}  // namespace bench

#endif  // BENCH_LOAD_BENCH_OPTIONS_H_

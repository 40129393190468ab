#include "uKwRegEx.h"

#include <stdexcept>
#include <string>

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

namespace {

// Backtracking budget of one match. Header-sized subjects need a few thousand steps;
// the limit only ends pathological input (long runs of "@" or "(helo=").
constexpr uint32_t kMatchLimit = 200000;
constexpr uint32_t kDepthLimit = 10000;
constexpr uint32_t kHeapLimitKiB = 8192;

struct TMatchContextDeleter {
  void operator()(pcre2_match_context* context) const noexcept {
    pcre2_match_context_free(context);
  }
};

// One match context with the limits, shared read-only by every pattern and thread.
pcre2_match_context* LimitedMatchContext() {
  static const std::unique_ptr<pcre2_match_context, TMatchContextDeleter> context = [] {
    std::unique_ptr<pcre2_match_context, TMatchContextDeleter> created(
        pcre2_match_context_create(nullptr));
    if (!created) throw std::bad_alloc();
    pcre2_set_match_limit(created.get(), kMatchLimit);
    pcre2_set_depth_limit(created.get(), kDepthLimit);
    pcre2_set_heap_limit(created.get(), kHeapLimitKiB);
    return created;
  }();
  return context.get();
}

// Match data for whole-match offsets only, one per thread, freed when the thread ends.
class TThreadMatchData {
 public:
  TThreadMatchData() : FData(pcre2_match_data_create(1, nullptr)) {
    if (!FData) throw std::bad_alloc();
  }
  ~TThreadMatchData() { pcre2_match_data_free(FData); }
  TThreadMatchData(const TThreadMatchData&) = delete;
  TThreadMatchData& operator=(const TThreadMatchData&) = delete;
  pcre2_match_data* Get() const { return FData; }

 private:
  pcre2_match_data* FData;
};

pcre2_match_data* ThreadMatchData() {
  thread_local TThreadMatchData data;
  return data.Get();
}

std::string CompileErrorText(int errorCode, size_t offset, std::string_view pattern) {
  PCRE2_UCHAR buffer[256];
  pcre2_get_error_message(errorCode, buffer, sizeof buffer);
  return "Invalid regular expression \"" + std::string(pattern) + "\" at " +
         std::to_string(offset) + ": " + reinterpret_cast<const char*>(buffer);
}

}  // namespace

struct TKwRegEx::TCompiled {
  pcre2_code* Code = nullptr;
  bool IsJitCompiled = false;
  ~TCompiled() { pcre2_code_free(Code); }
};

TKwRegEx::TKwRegEx(std::string_view pattern, bool caseSensitive)
    : TKwRegEx(pattern, TKwRegExFlags{.CaseSensitive = caseSensitive}) {}

TKwRegEx::TKwRegEx(std::string_view pattern, TKwRegExFlags flags)
    : FCompiled(std::make_unique<TCompiled>()) {
  uint32_t options = PCRE2_UTF | PCRE2_MATCH_INVALID_UTF;
  if (!flags.CaseSensitive) options |= PCRE2_CASELESS;
  if (flags.DotMatchesLineBreaks) options |= PCRE2_DOTALL;
  std::unique_ptr<pcre2_compile_context, void (*)(pcre2_compile_context*)> compileContext(
      pcre2_compile_context_create(nullptr), pcre2_compile_context_free);
#ifdef PCRE2_EXTRA_CASELESS_RESTRICT
  // Keeps "k" from matching the Kelvin sign and "s" the long s in address patterns.
  pcre2_set_compile_extra_options(compileContext.get(), PCRE2_EXTRA_CASELESS_RESTRICT);
#endif
  int errorCode = 0;
  PCRE2_SIZE errorOffset = 0;
  FCompiled->Code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                                  options, &errorCode, &errorOffset, compileContext.get());
  if (!FCompiled->Code)
    throw std::invalid_argument(CompileErrorText(errorCode, errorOffset, pattern));
  // Without JIT support the interpreter does the same work, only slower.
  FCompiled->IsJitCompiled = pcre2_jit_compile(FCompiled->Code, PCRE2_JIT_COMPLETE) == 0;
}

TKwRegEx::~TKwRegEx() = default;
TKwRegEx::TKwRegEx(TKwRegEx&&) noexcept = default;
TKwRegEx& TKwRegEx::operator=(TKwRegEx&&) noexcept = default;

bool TKwRegEx::Find(std::string_view subject, size_t& matchStart, size_t& matchLength,
                    size_t from) const {
  matchStart = matchLength = 0;
  if (!FCompiled || from > subject.size()) return false;
  // PCRE2 refuses a null subject pointer even for an empty subject.
  const char* text = subject.data() ? subject.data() : "";
  pcre2_match_data* matchData = ThreadMatchData();
  const int rc = pcre2_match(FCompiled->Code, reinterpret_cast<PCRE2_SPTR>(text), subject.size(),
                             from, 0, matchData, LimitedMatchContext());
  if (rc < 0) return false;  // no match, limit reached, or JIT stack exhausted
  const PCRE2_SIZE* ovector = pcre2_get_ovector_pointer(matchData);
  // \K inside a lookbehind can report an end before the start; treat as empty.
  matchStart = ovector[0];
  matchLength = ovector[1] > ovector[0] ? ovector[1] - ovector[0] : 0;
  return true;
}

std::string_view TKwRegEx::FindText(std::string_view subject) const {
  size_t start = 0, length = 0;
  if (!Find(subject, start, length)) return {};
  return subject.substr(start, length);
}

bool TKwRegEx::IsMatch(std::string_view subject) const {
  size_t start = 0, length = 0;
  return Find(subject, start, length);
}

int TKwRegEx::CaptureCount() const {
  uint32_t count = 0;
  if (FCompiled) pcre2_pattern_info(FCompiled->Code, PCRE2_INFO_CAPTURECOUNT, &count);
  return static_cast<int>(count);
}

int TKwRegEx::GroupNumber(std::string_view name) const {
  if (!FCompiled) return -1;
  const std::string zeroEnded(name);
  const int number = pcre2_substring_number_from_name(FCompiled->Code, reinterpret_cast<PCRE2_SPTR>(zeroEnded.c_str()));
  return number > 0 ? number : -1;
}

bool TKwRegEx::FindGroup(std::string_view subject, int group, std::string_view& text) const {
  text = {};
  if (!FCompiled || group < 0 || group > CaptureCount()) return false;
  const char* bytes = subject.data() ? subject.data() : "";
  // Match data sized for the groups, per call: the thread's shared one holds the whole match only.
  std::unique_ptr<pcre2_match_data, void (*)(pcre2_match_data*)> matchData(
      pcre2_match_data_create_from_pattern(FCompiled->Code, nullptr), pcre2_match_data_free);
  if (!matchData) throw std::bad_alloc();
  const int rc = pcre2_match(FCompiled->Code, reinterpret_cast<PCRE2_SPTR>(bytes), subject.size(), 0, 0,
                             matchData.get(), LimitedMatchContext());
  if (rc <= group) return false;  // no match, or the group lies beyond the last that was set
  const PCRE2_SIZE* ovector = pcre2_get_ovector_pointer(matchData.get());
  const PCRE2_SIZE start = ovector[2 * group], end = ovector[2 * group + 1];
  if (start == PCRE2_UNSET || end < start) return false;
  text = subject.substr(start, end - start);
  return true;
}

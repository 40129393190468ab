// Feeds arbitrary bytes to the bounce classifier: MIME splitting, the search for a report
// part, both code scans and the returned message's headers. Any input must classify
// without crashing, hanging or raising, and the verdict must hang together: a code comes
// from one of the tables, a description goes with a code, and only a hard or a soft
// bounce answers true.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "uKwBounceCheck.h"

namespace {

void Require(bool condition) {
  if (!condition) abort();
}

bool InTable(const TArrayBounceCodes& table, const std::string& code) {
  return std::any_of(table.begin(), table.end(), [&](const TBounceCode& entry) { return entry.Code == code; });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static TKwBounceCheck check;  // reused, as a message reuses its own
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const bool bounce = check.ParseMessage(text);
  const TBounceType type = check.GetBounceType();
  Require(type >= btNone && type <= btMdnReceipt);
  Require(bounce == (type == btHardBounce || type == btSoftBounce));
  const std::string& code = check.GetCode();
  Require(code.empty() == check.GetDescription().empty());
  Require(code.empty() || InTable(check.Rfc1893Codes(), code) || InTable(check.Rfc2821Codes(), code));
  Require(type == btNone || !code.empty());
  Require(!code.empty() || check.GetRecipient().empty());
  return 0;
}

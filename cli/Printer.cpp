#include "Printer.h"

#include <iostream>

void TPrinter::Print(const TResult& result, const std::function<void(const TResult&)>& asText) const {
  if (!FJson) return asText(result);
  // Texts read from files may be bytes of another code page: never fail on them.
  std::cout << result.dump(2, ' ', false, TResult::error_handler_t::replace) << "\n";
}

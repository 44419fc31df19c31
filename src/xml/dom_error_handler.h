#ifndef XML_DOM_ERROR_HANDLER_H_
#define XML_DOM_ERROR_HANDLER_H_

#include <cstdint>
#include <string>
#include <xercesc/dom/DOMErrorHandler.hpp>

#include "kiv/dom_parser.h"

namespace kiv {

enum class ErrorSeverity { Warning, Error, Fatal };

// Writes one message of a parser to the log.
void LogParseError(ErrorSeverity severity, const std::string& file,
                   std::uint64_t line, std::uint64_t column,
                   const std::string& message);

// Logs what the builder reports and lets it go on. After a fatal error it
// cannot.
class DomCountErrorHandler : public xercesc::DOMErrorHandler {
 public:
  bool handleError(const xercesc::DOMError& error) override;

  bool HasFatalError() const { return has_fatal_error_; }
  // The first fatal error.
  const ParseFault& Fault() const { return fault_; }
  void ResetErrors() {
    has_fatal_error_ = false;
    fault_ = {};
  }

 private:
  bool has_fatal_error_ = false;
  ParseFault fault_;
};

}  // namespace kiv

#endif  // XML_DOM_ERROR_HANDLER_H_

#include "xml/dom_error_handler.h"

#include <xercesc/dom/DOMError.hpp>
#include <xercesc/dom/DOMLocator.hpp>

#include "util/log_entry.h"
#include "xml/xml_text.h"

namespace kiv {
namespace {

ErrorSeverity SeverityOf(const xercesc::DOMError& error) {
  switch (error.getSeverity()) {
    case xercesc::DOMError::DOM_SEVERITY_WARNING:
      return ErrorSeverity::Warning;
    case xercesc::DOMError::DOM_SEVERITY_ERROR:
      return ErrorSeverity::Error;
    default:
      return ErrorSeverity::Fatal;
  }
}

const char* Opening(ErrorSeverity severity) {
  switch (severity) {
    case ErrorSeverity::Warning:
      return "\nWarning at file ";
    case ErrorSeverity::Error:
      return "\nError at file ";
    case ErrorSeverity::Fatal:
      break;
  }
  return "\nFatal Error at file ";
}

}  // namespace

void LogParseError(ErrorSeverity severity, const std::string& file,
                   std::uint64_t line, std::uint64_t column,
                   const std::string& message) {
  LogPlain("xml", Opening(severity) + Shown(file) + ", line " +
                      std::to_string(line) + ", char " +
                      std::to_string(column) +
                      "\n  Message: " + Shown(message));
}

bool DomCountErrorHandler::handleError(const xercesc::DOMError& error) {
  const ErrorSeverity severity = SeverityOf(error);
  const xercesc::DOMLocator* location = error.getLocation();
  const ParseFault fault{location ? location->getLineNumber() : 0,
                         location ? location->getColumnNumber() : 0,
                         LocalText(error.getMessage())};
  LogParseError(severity, LocalText(location ? location->getURI() : nullptr),
                fault.line, fault.column, fault.reason);
  if (severity == ErrorSeverity::Fatal && !has_fatal_error_) {
    has_fatal_error_ = true;
    fault_ = fault;
  }
  return true;
}

}  // namespace kiv

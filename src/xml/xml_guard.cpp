#include "xml/xml_guard.h"

#include <cstdlib>
#include <exception>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/sax/SAXException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLException.hpp>

#include "kiv/startup.h"
#include "util/log_entry.h"
#include "xml/xml_messages.h"
#include "xml/xml_text.h"

namespace kiv {

bool PlatformIsUp() {
  return xercesc::XMLPlatformUtils::fgMemoryManager != nullptr &&
         GlobalTranscoder() != nullptr;
}

std::string CurrentExceptionText() {
  try {
    throw;
  } catch (const xercesc::OutOfMemoryException&) {
    return "out of memory";
  } catch (const xercesc::XMLException& exception) {
    return LocalText(exception.getMessage());
  } catch (const xercesc::DOMException& exception) {
    return LocalText(exception.getMessage());
  } catch (const xercesc::SAXException& exception) {
    return LocalText(exception.getMessage());
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return "unknown exception";
  }
}

void LogRefused(const char* operation, const std::string& reason) {
  LogError("xml", std::string(operation) + " Failed: " + Shown(reason));
}

void LogCurrentException(const char* operation) {
  LogRefused(operation, CurrentExceptionText());
}

void EndWithoutPlatform(const char* operation, const std::string& text) {
  LogFatal("Xml", message::PlatformIsMissing(operation, Shown(text)));
  std::exit(1);
}

void RequirePlatform(const char* operation) {
  if (!PlatformIsUp())
    EndWithoutPlatform(operation, "the XML platform is not running");
}

}  // namespace kiv

#include "kiv/dom_parser.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <string_view>
#include <xercesc/dom/DOMException.hpp>
#include <xercesc/dom/DOMImplementationRegistry.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "kiv/strings.h"
#include "util/cp936.h"
#include "util/log_entry.h"
#include "xml/document_bytes.h"
#include "xml/document_path.h"
#include "xml/dom_error_handler.h"
#include "xml/guarded_parser.h"
#include "xml/xerces_access.h"
#include "xml/xml_guard.h"
#include "xml/xml_text.h"

namespace kiv {
namespace {

using xercesc::XMLUni;

constexpr const char* kLogSource = "xml";
constexpr const char* kMemoryName = "cssBuf";

// What walks a tree takes a frame of the stack a level; so many fit.
constexpr unsigned kDeepest = 10'000;
std::atomic<unsigned> max_depth{1'000};
std::atomic<std::size_t> max_bytes{std::size_t{64} << 20};

void LogParseException(const std::string& file, const std::string& text) {
  LogPlain(kLogSource, "\nError during parsing: '" + Shown(file) +
                           "'\nException message is:  \n" + Shown(text) + "\n");
}

void LogDomException(const std::string& file,
                     const xercesc::DOMException& exception) {
  std::string entry =
      "\nDOM Error during parsing: '" + Shown(file) +
      "'\nDOMException code is:  " + std::to_string(exception.code) + "\n";
  const std::string text = LocalText(exception.getMessage());
  if (!text.empty()) entry += "Message is: " + Shown(text);
  LogPlain(kLogSource, entry);
}

// For a catch block: logs what ended the parse, and returns it.
ParseFault LogParseFailure(const std::string& file) {
  try {
    throw;
  } catch (const DocumentRefused& refused) {
    if (refused.line == 0)
      LogParseException(file, refused.reason);
    else
      LogParseError(ErrorSeverity::Fatal, file, refused.line, refused.column,
                    refused.reason);
    return {refused.line, refused.column, refused.reason};
  } catch (const xercesc::XMLException& exception) {
    const std::string reason = LocalText(exception.getMessage());
    LogParseException(file, reason);
    return {0, 0, reason};
  } catch (const xercesc::DOMException& exception) {
    LogDomException(file, exception);
    return {0, 0, LocalText(exception.getMessage())};
  } catch (...) {
    LogPlain(kLogSource,
             "\nUnexpected exception during parsing: '" + Shown(file) + "'\n");
    return {0, 0, "unexpected exception"};
  }
}

xercesc::MemBufInputSource Source(std::string_view document,
                                  const XMLCh* name) {
  return {reinterpret_cast<const XMLByte*>(document.data()), document.size(),
          name};
}

// Nothing but the document is ever opened. A refused document type declaration
// leaves no entity to resolve; these close what is left.
void CloseDoors(xercesc::DOMConfiguration& features) {
  features.setParameter(XMLUni::fgXercesLoadExternalDTD, false);
  features.setParameter(XMLUni::fgXercesLoadSchema, false);
  features.setParameter(XMLUni::fgXercesDisableDefaultEntityResolution, true);
}

}  // namespace

struct DomParser::Impl {
  DomCountErrorHandler error_handler;
  ParseFault fault;
  std::unique_ptr<GuardedBuilder> builder;
  std::unique_ptr<GuardedPlainParser> plain;

  ~Impl() { Release(); }

  void Release() {
    if (PlatformIsUp()) {
      builder.reset();
      plain.reset();
    } else {
      // What the platform made died with it.
      static_cast<void>(builder.release());
      static_cast<void>(plain.release());
    }
  }

  GuardedPlainParser& Plain() {
    if (!plain) {
      plain = std::make_unique<GuardedPlainParser>();
      plain->setLoadExternalDTD(false);
      plain->setLoadSchema(false);
      plain->setDisableDefaultEntityResolution(true);
    }
    return *plain;
  }

  // Null after a fatal error.
  xercesc::DOMDocument* ParseFile(const std::string& native_path,
                                  const std::string& name);
  xercesc::DOMDocument* ParseMemory(std::string_view document);
};

xercesc::DOMDocument* DomParser::Impl::ParseFile(const std::string& native_path,
                                                 const std::string& name) {
  const std::string document = ReadDocument(native_path);
  CheckBytes(document);
  const WideString wide_name = Cp936ToUtf16(name);
  auto source = Source(document, wide_name.c_str());
  const xercesc::Wrapper4InputSource input(&source, false);
  xercesc::DOMDocument* parsed = builder->parse(&input);
  return error_handler.HasFatalError() ? nullptr : parsed;
}

xercesc::DOMDocument* DomParser::Impl::ParseMemory(std::string_view document) {
  CheckBytes(document);
  const WideText name(kMemoryName);
  const auto source = Source(document, name.get());
  Plain().parse(source);
  return Plain().getDocument();
}

DomParser::DomParser() : impl_(std::make_unique<Impl>()) {}

DomParser::~DomParser() = default;

bool DomParser::IsValid() const { return impl_->builder != nullptr; }

void DomParser::release() { impl_->Release(); }

void DomParser::Initialize(bool namespaces, bool schema,
                           bool schemaFullChecking) {
  if (impl_->builder) return;
  try {
    RequirePlatform("DomParser::Initialize");
    if (xercesc::DOMImplementationRegistry::getDOMImplementation(u"LS") ==
        nullptr)
      throw std::runtime_error("there is no DOM implementation for LS");
    // The class that the implementation would make, with our guard.
    auto builder = std::make_unique<GuardedBuilder>();
    xercesc::DOMConfiguration* features = builder->getDomConfig();
    features->setParameter(XMLUni::fgDOMNamespaces, namespaces);
    features->setParameter(XMLUni::fgXercesSchema, schema);
    features->setParameter(XMLUni::fgXercesSchemaFullChecking,
                           schemaFullChecking);
    features->setParameter(XMLUni::fgDOMValidateIfSchema, true);
    features->setParameter(XMLUni::fgDOMDatatypeNormalization, true);
    CloseDoors(*features);
    features->setParameter(XMLUni::fgDOMErrorHandler, &impl_->error_handler);
    impl_->builder = std::move(builder);
  } catch (...) {
    EndWithoutPlatform("DomParser::Initialize", CurrentExceptionText());
  }
}

bool DomParser::parseURI(const char* path, DomDocument& doc) {
  if (path == nullptr || *path == '\0') return false;
  Initialize(true, false, false);
  const auto native_path = NativeDocumentPath(path);
  if (!native_path) {
    impl_->fault = {0, 0, "the path cannot be resolved"};
    doc.Initialize(nullptr, this);
    return false;
  }
  // A log entry is read where paths are written with "/".
  std::string name = *native_path;
  toGenericPath(name, true);

  impl_->error_handler.ResetErrors();
  impl_->builder->resetDocumentPool();
  xercesc::DOMDocument* document = nullptr;
  try {
    document = impl_->ParseFile(*native_path, name);
    impl_->fault = impl_->error_handler.Fault();
  } catch (...) {
    impl_->fault = LogParseFailure(name);
  }
  // Half a document helps nobody and holds memory.
  if (document == nullptr) impl_->builder->resetDocumentPool();
  return doc.Initialize(document, this);
}

bool DomParser::parseMem(const char* buffer, unsigned length,
                         DomDocument& doc) {
  RequirePlatform("DomParser::parseMem");
  if (impl_->plain) impl_->plain->resetDocumentPool();
  xercesc::DOMDocument* document = nullptr;
  try {
    document = impl_->ParseMemory({buffer, buffer == nullptr ? 0 : length});
    impl_->fault = {};
  } catch (...) {
    impl_->fault = LogParseFailure(kMemoryName);
    LogPlain(kLogSource, "Error occurs while parsing XML use parseMem");
    if (impl_->plain) impl_->plain->resetDocumentPool();
  }
  return doc.Initialize(document, this);
}

const ParseFault& DomParser::LastFault() const { return impl_->fault; }

unsigned DomParser::MaxDepth() { return max_depth; }

void DomParser::SetMaxDepth(unsigned levels) {
  max_depth = std::min(levels, kDeepest);
}

std::size_t DomParser::MaxBytes() { return max_bytes; }

void DomParser::SetMaxBytes(std::size_t bytes) { max_bytes = bytes; }

}  // namespace kiv

#include "mq/check_parts.h"

#include <algorithm>

#include "kiv/dom_element.h"
#include "kiv/file_system.h"
#include "kiv/strings.h"
#include "mq/isolation.h"
#include "mq/module_description.h"
#include "port/shared_library.h"
#include "util/gb_text.h"
#include "xml/element_lines.h"

namespace kiv::mq {
namespace {

// Counts the elements before `target`, itself included, in document order.
bool CountUpTo(const DomElement& element, const DomElement& target,
               std::size_t& count) {
  ++count;
  if (element.IsSameNode(target)) return true;
  DomNodeList2 children;
  element.ChildElementList(children);
  for (unsigned i = 0; i < children.GetLength(); ++i) {
    DomElement child;
    if (children.item(i, child) && CountUpTo(child, target, count)) return true;
  }
  return false;
}

std::vector<std::string> Variants(const std::string& name) {
  std::string lower = name;
  std::string upper = name;
  std::string camel = name;
  LowerAscii(lower);
  UpperAscii(upper);
  std::string title = lower;
  title[0] = AsciiToUpper(title[0]);
  camel[0] =
      IsAsciiUpper(name[0]) ? AsciiToLower(name[0]) : AsciiToUpper(name[0]);
  std::vector<std::string> variants{lower, upper, camel, title};
  std::sort(variants.begin(), variants.end());
  variants.erase(std::unique(variants.begin(), variants.end()), variants.end());
  std::erase(variants, name);
  return variants;
}

std::string LibraryFault(const module::ModuleDescription& description) {
  std::string reason;
  const auto library = port::SharedLibrary::Open(description.file, reason);
  if (library == nullptr)
    return "processor library cannot be loaded: " + reason;
  if (library->Symbol(description.function, reason) == nullptr)
    return "the processor library has no function " +
           Quoted(description.function) +
           ": export it as extern \"C\" under exactly this name";
  return "";
}

}  // namespace

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

bool CheckedDocument::Open(const FileSystemPath& file,
                           std::vector<ConfigFinding>& findings) {
  const auto fail = [&](const std::string& text, unsigned line = 0) {
    findings.push_back({ConfigFinding::Severity::Fault, line, "", text});
    return false;
  };
  if (!FileSystem::is_file(file)) return fail("the file is not there");
  const std::string path = file.native_file_string();
  if (!parser_.parseURI(path.c_str(), document_)) {
    const ParseFault& fault = parser_.LastFault();
    const std::string place =
        fault.line > 0 ? ", column " + std::to_string(fault.column) : "";
    return fail("the file is not read" + place + ": " + fault.reason,
                static_cast<unsigned>(fault.line));
  }
  lines_ = ReadElementLines(path);
  return document_.GetDocumentElement(root_) ||
         fail("the file has no document element");
}

unsigned CheckedDocument::LineOf(const DomElement& element) const {
  std::size_t count = 0;
  if (!CountUpTo(root_, element, count) || count > lines_.size()) return 0;
  return lines_[count - 1];
}

ElementCheck::ElementCheck(DomElement& element, unsigned line,
                           std::size_t number,
                           std::vector<ConfigFinding>& findings)
    : element_(element), line_(line), findings_(findings) {
  if (!element_.Attribute("name", name_)) name_ = "#" + std::to_string(number);
}

bool ElementCheck::IsGood() const {
  return std::none_of(
      findings_.begin() + static_cast<std::ptrdiff_t>(first_), findings_.end(),
      [](const auto& found) { return found.severity == Severity::Fault; });
}

std::string ProcessorFault(const std::string& text) {
  using Fault = module::ModuleDescription::Fault;
  if (text.empty()) return "has no \"processor\": write dll://library:function";
  const auto description = module::ReadModuleDescription(text);
  switch (description.fault) {
    case Fault::NoLocation:
    case Fault::Protocol:
      return "processor " + Quoted(text) +
             " is not understood: write dll://library:function, \"dll\" in "
             "lower case";
    case Fault::NoFunction:
      return "processor " + Quoted(text) +
             " names no function: add it behind a \":\"";
    case Fault::NoFile:
      return "the library of processor " + Quoted(text) +
             " is not there; a relative path counts from the working folder";
    case Fault::None:
      break;
  }
  return LibraryFault(description);
}

std::string IsolationFault(const DomElement& element) {
  using module::Isolation;
  const std::string where = element.Attribute(Isolation::kAttribute);
  if (!where.empty() && where != Isolation::kProcess &&
      where != Isolation::kNone)
    return "\"isolation\" is " + Quoted(where) +
           " and counts as none: write process or none";
  const std::string limit = element.Attribute(Isolation::kTimeLimit);
  if (!limit.empty() && !is_all_digit(limit.c_str()))
    return "\"timeLimit\" is " + Quoted(limit) +
           ", which is no whole number of seconds; write digits alone";
  return "";
}

std::vector<std::string> MisspeltAttributes(
    const DomElement& element, std::initializer_list<const char*> names) {
  std::vector<std::string> texts;
  for (const char* const name : names) {
    if (element.HasAttribute(name)) continue;
    for (const std::string& variant : Variants(name))
      if (element.HasAttribute(variant.c_str()))
        texts.push_back("attribute " + Quoted(variant) +
                        " is not read: write " + Quoted(name));
  }
  return texts;
}

}  // namespace kiv::mq

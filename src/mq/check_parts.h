#ifndef MQ_CHECK_PARTS_H_
#define MQ_CHECK_PARTS_H_

#include <cstddef>
#include <initializer_list>
#include <string>
#include <vector>

#include "kiv/dom.h"
#include "kiv/file_system_path.h"
#include "kiv/mq/config_check.h"

// What the checks of queue.xml and of fileq.xml share.
namespace kiv::mq {

// "text", with the quotes.
std::string Quoted(const std::string& text);

// A settings file whose elements know their line.
class CheckedDocument {
 public:
  // False, with a finding, when the file is not read.
  bool Open(const FileSystemPath& file, std::vector<ConfigFinding>& findings);

  DomElement& Root() { return root_; }
  // 0 when it is not known.
  unsigned LineOf(const DomElement& element) const;

 private:
  DomParser parser_;
  DomDocument document_;
  DomElement root_;
  std::vector<unsigned> lines_;
};

// Looks at one element of a list and adds what it finds.
class ElementCheck {
 protected:
  using Severity = ConfigFinding::Severity;

  // `number` counts from 1 and stands for a name that is not there.
  ElementCheck(DomElement& element, unsigned line, std::size_t number,
               std::vector<ConfigFinding>& findings);
  ~ElementCheck() = default;

  void Add(Severity severity, const std::string& text) {
    findings_.push_back({severity, line_, name_, text});
  }
  void Fault(const std::string& text) { Add(Severity::Fault, text); }
  void Warn(const std::string& text) { Add(Severity::Warning, text); }
  // Whether no fault has been added.
  bool IsGood() const;

  DomElement& element_;
  const unsigned line_;
  std::string name_;

 private:
  std::vector<ConfigFinding>& findings_;
  const std::size_t first_ = findings_.size();
};

// What is wrong with a processor description; "" when it can be called. The
// library is loaded for that, and let go of.
std::string ProcessorFault(const std::string& description);

// Names of attributes are exact; one in a wrong case leaves the default in
// force. A text for each of those.
std::vector<std::string> MisspeltAttributes(
    const DomElement& element, std::initializer_list<const char*> names);

// What is wrong with the attributes that say where a processor runs; empty when
// nothing is.
std::string IsolationFault(const DomElement& element);

}  // namespace kiv::mq

#endif  // MQ_CHECK_PARTS_H_

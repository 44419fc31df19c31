// Any bytes as a document: parsed by both parsers, walked, written, and what
// was written parses again to the same tree.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "kiv/dom.h"
#include "kiv/log.h"
#include "kiv/startup.h"

using namespace kiv;

namespace {

void Expect(bool holds) {
  if (!holds) std::abort();
}

// The library, with a log that is thrown away from time to time: refused
// documents fill it.
class Session {
 public:
  Session() : folder_(std::filesystem::temp_directory_path() / Name()) {
    GlobalInit();
    OpenLog();
  }
  ~Session() { RemoveLog(); }

  void Next() {
    if (++inputs_ % 4096 != 0) return;
    RemoveLog();
    OpenLog();
  }

 private:
  static std::string Name() {
    return "kiv_parse_mem_fuzz_" + std::to_string(::getpid());
  }
  void OpenLog() const {
    Log::Instance().Open(FileSystemPath(folder_.string()), true);
  }
  void RemoveLog() const {
    Log::Instance().Close();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  std::filesystem::path folder_;
  unsigned inputs_ = 0;
};

void WalkElement(const DomElement& element, int depth) {
  Expect(depth <= static_cast<int>(DomParser::MaxDepth()));
  std::string value;
  element.Attribute("a", value);
  element.LocalAttribute("type", value);
  element.AttributeCurNS("a", value);
  element.AttributeInt("n", 7);
  element.AttributeBool("b", true);
  element.GetTextContent(value);
  element.GetTrimTextChildValue(value);
  element.GetBaseURI(value);
  Expect(element.GetTagName(value) && !value.empty());

  DomNodeList2 children;
  Expect(element.ChildElementList(children) ==
         (element.ChildElementCount() > 0));
  DomElement child;
  for (unsigned i = 0; children.item(i, child); ++i) {
    DomElement found;
    const std::string name = child.GetNodeName();
    const std::string local = name.substr(name.find(':') + 1);
    // A character that the local encoding lacks is "?", which no name holds.
    Expect(local.find('?') != std::string::npos ||
           (child.LocalNameEqualTo(local.c_str()) &&
            element.GetFirstChildElement(local.c_str(), found)));
    WalkElement(child, depth + 1);
  }
}

void Reread(const DomDocument& document, const DomElement& root,
            const char* encoding) {
  DomDocumentContent content;
  // False for what the encoding lacks in a name or a comment.
  if (!document.GetDocumentContent(content, encoding)) return;
  const std::string text = content.GetContent();
  DomParser parser;
  DomDocument again;
  DomElement again_root;
  Expect(
      parser.parseMem(text.data(), static_cast<unsigned>(text.size()), again) &&
      again.GetDocumentElement(again_root));
  std::string before;
  std::string after;
  root.GetTextContent(before);
  again_root.GetTextContent(after);
  Expect(before == after);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes,
                                      std::size_t size) {
  static Session session;
  session.Next();
  // A block of exactly its size: one byte too far is seen.
  const std::unique_ptr<char[]> text(new char[size]);
  if (size > 0) std::memcpy(text.get(), bytes, size);

  DomParser parser;
  DomDocument document;
  DomElement root;
  if (!parser.parseMem(text.get(), static_cast<unsigned>(size), document))
    return 0;
  Expect(document.GetDocumentElement(root));
  WalkElement(root, 1);
  DomNode copy;
  Expect(root.CloneNode(true, copy) && copy.IsEqualNode(root));
  Reread(document, root, "UTF-8");
  Reread(document, root, "GB2312");
  return 0;
}

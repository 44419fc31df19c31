// Any text as a query over a small document: a result or an error, within its
// limits. What it gives can be written out.
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "util/runtime.h"
#include "xdb/tree/tree_builder.h"
#include "xdb/xquery/compile/query.h"
#include "xdb/xquery/run/serializer.h"
#include "xml/xml_events.h"

namespace {

namespace xdb = kiv::xdb;
namespace xq = kiv::xdb::xq;

constexpr char kDocument[] =
    "<r xmlns:p='u' id='1'>x<a n='1'>2</a><p:b>3<a>y<!--c--></a></p:b>"
    "<?t v?><a xml:id='i' xml:lang='en'/>\xE8\xAE\xA2</r>";

class Documents final : public xq::DocumentSource {
 public:
  Documents() {
    kiv::StartValues();
    auto dictionary = std::make_shared<xdb::Dictionary>();
    xdb::GrowingPaths paths(*dictionary);
    xdb::TreeBuilder builder(paths);
    kiv::ReadXmlEvents(kDocument, builder);
    auto bytes = std::make_shared<std::string>();
    builder.TakeTree(*bytes);
    document_ = {std::make_shared<const xdb::Tree>(dictionary, bytes, *bytes),
                 std::make_shared<xq::TreeOrigin>()};
  }

  const xq::SourceDocument& document() const { return document_; }
  xq::SourceDocument FindDocument(const std::string& uri) override {
    return uri == "d" ? document_ : xq::SourceDocument();
  }
  std::unique_ptr<xq::DocumentStream> OpenCollection(
      const std::string&) override {
    return nullptr;
  }

 private:
  xq::SourceDocument document_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes,
                                      std::size_t size) {
  static Documents documents;
  const std::string query(bytes, bytes + size);
  xq::Surroundings surroundings;
  surroundings.documents = &documents;
  surroundings.limits.call_depth = 300;
  surroundings.limits.memory_bytes = 16 << 20;
  surroundings.limits.time = std::chrono::milliseconds(200);
  try {
    xq::Execution holder({}, 0);
    xq::RunningQuery running(xq::Compile(query, {}), surroundings,
                             holder.RootOf(documents.document()), {});
    std::string text;
    xq::Serializer serializer(text);
    for (xq::Item item; text.size() < (1U << 20) && running.Next(item);)
      serializer.Write(item);
  } catch (const xq::Error&) {
    // Any query may fail.
  }
  return 0;
}

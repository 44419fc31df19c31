// Any text as a query over a few small documents, doc('c/d') and
// collection('c') with its index: a result or an error, within its limits. What
// it gives can be written out, and so can its plan.
#include <string>

#include "input_of_fuzz.h"
#include "xdb/xquery/compile/query.h"
#include "xdb/xquery/run/listed_documents_testing.h"
#include "xdb/xquery/run/serializer.h"

namespace kiv::fuzz {

namespace xq = xdb::xq;

struct Documents : xq::ListedDocuments {
  Documents() {
    Add("e", "<r n='10'><a n='2'>10</a><a>x</a></r>");
    Add("d",
        "<r xmlns:p='u' id='1'>x<a n='1'>2</a><p:b>3<a>y<!--c--></a></p:b>"
        "<?t v?><a xml:id='i' xml:lang='en'/>\xE8\xAE\xA2</r>");
  }
};

void Run(std::string_view input) {
  Session::Next();
  static Documents documents;
  xq::Surroundings surroundings;
  surroundings.documents = &documents;
  surroundings.limits.call_depth = 300;
  surroundings.limits.memory_bytes = 16 << 20;
  surroundings.limits.time = std::chrono::milliseconds(200);
  try {
    const auto compiled = xq::Compile(std::string(input), {});
    std::string text = xq::Explain(*compiled, surroundings);
    xq::Execution holder({}, 0);
    xq::RunningQuery running(compiled, surroundings,
                             holder.RootOf(documents.FindDocument("c/d")), {});
    xq::Serializer serializer(text);
    for (xq::Item item; text.size() < (1U << 20) && running.Next(item);)
      serializer.Write(item);
  } catch (const xq::Error&) {
    // Any query may fail.
  }
}

}  // namespace kiv::fuzz

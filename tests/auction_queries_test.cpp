// The auction benchmark: twenty queries over a document of 11 MB.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "testing/outside_data.h"
#include "util/runtime.h"
#include "xdb/xquery/compile/query.h"
#include "xdb/xquery/run/listed_documents_testing.h"
#include "xdb/xquery/run/serializer.h"

namespace kiv::xdb {
namespace {

namespace fs = std::filesystem;
using kiv::testing::ReadPacked;

// The one document is found by its name alone.
class NamedDocument final : public xq::ListedDocuments {
 public:
  xq::SourceDocument FindDocument(const std::string& uri) override {
    return ListedDocuments::FindDocument("c/" + uri);
  }
};

fs::path Folder() { return kiv::testing::OutsideData() / "auction"; }

TEST(AuctionQueries, GiveTheAnswersByteForByte) {
  if (!fs::exists(Folder())) GTEST_SKIP() << "there is no " << Folder();
  StartValues();
  NamedDocument source;
  source.Add("auction.xml", ReadPacked(Folder() / "auction.xml.gz"));
  xq::Surroundings surroundings;
  surroundings.documents = &source;
  for (int number = 1; number <= 20; ++number) {
    const std::string name =
        (number < 10 ? "q0" : "q") + std::to_string(number);
    xq::RunningQuery query(
        xq::Compile(ReadPacked(Folder() / "q" / (name + ".xq")), {}),
        surroundings, xq::Item(), {});
    std::string answer;
    // Nothing stands between two items.
    for (xq::Item item; query.Next(item);) xq::Serializer(answer).Write(item);
    const std::string expected =
        ReadPacked(Folder() / "answers" / (name + ".out.gz"));
    EXPECT_TRUE(answer == expected)
        << name << answer.substr(0, 500) << "\n-- instead of --\n"
        << expected.substr(0, 500);
  }
  StopValues();
}

}  // namespace
}  // namespace kiv::xdb

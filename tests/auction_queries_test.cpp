// The auction benchmark: twenty queries over a document of 11 MB.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "testing/outside_data.h"
#include "util/runtime.h"
#include "xdb/tree/tree_builder.h"
#include "xdb/xquery/compile/query.h"
#include "xdb/xquery/run/serializer.h"
#include "xml/xml_events.h"

namespace kiv::xdb {
namespace {

namespace fs = std::filesystem;
using kiv::testing::OutsideData;
using kiv::testing::ReadPacked;

class OneDocument final : public xq::DocumentSource {
 public:
  explicit OneDocument(std::shared_ptr<const Tree> tree)
      : document_{std::move(tree), std::make_shared<xq::TreeOrigin>()} {}
  xq::SourceDocument FindDocument(const std::string& uri) override {
    return uri == "auction.xml" ? document_ : xq::SourceDocument();
  }
  std::unique_ptr<xq::DocumentStream> OpenCollection(
      const std::string&) override {
    return nullptr;
  }

 private:
  const xq::SourceDocument document_;
};

class AuctionQueries : public ::testing::TestWithParam<int> {
 protected:
  static void SetUpTestSuite() {
    StartValues();
    if (!fs::exists(Folder())) return;
    auto dictionary = std::make_shared<Dictionary>();
    GrowingPaths paths(*dictionary);
    TreeBuilder builder(paths);
    ReadXmlEvents(ReadPacked(Folder() / "auction.xml.gz"), builder);
    auto bytes = std::make_shared<std::string>();
    builder.TakeTree(*bytes);
    source_ = new OneDocument(
        std::make_shared<const Tree>(dictionary, bytes, *bytes));
  }
  static void TearDownTestSuite() {
    delete source_;
    source_ = nullptr;
    StopValues();
  }

  static fs::path Folder() { return OutsideData() / "auction"; }

  static OneDocument* source_;
};

OneDocument* AuctionQueries::source_ = nullptr;

TEST_P(AuctionQueries, GiveTheAnswersByteForByte) {
  if (source_ == nullptr) GTEST_SKIP() << "there is no " << Folder();
  const std::string name =
      (GetParam() < 10 ? "q0" : "q") + std::to_string(GetParam());
  xq::Surroundings surroundings;
  surroundings.documents = source_;
  xq::RunningQuery query(
      xq::Compile(ReadPacked(Folder() / "q" / (name + ".xq")), {}),
      surroundings, xq::Item(), {});
  std::string answer;
  // Nothing stands between two items.
  for (xq::Item item; query.Next(item);) xq::Serializer(answer).Write(item);
  const std::string expected =
      ReadPacked(Folder() / "answers" / (name + ".out.gz"));
  EXPECT_TRUE(answer == expected)
      << answer.substr(0, 500) << "\n-- instead of --\n"
      << expected.substr(0, 500);
}

INSTANTIATE_TEST_SUITE_P(All, AuctionQueries, ::testing::Range(1, 21));

}  // namespace
}  // namespace kiv::xdb

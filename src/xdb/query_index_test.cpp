// Queries answered with the index of a container and without it.
#include <algorithm>
#include <forward_list>
#include <utility>

#include "xdb/container/container_testing.h"
#include "xdb/query_documents.h"
#include "xdb/session.h"
#include "xdb/xquery/compile/query.h"
#include "xdb/xquery/run/serializer.h"

namespace kiv::xdb {
namespace {

// Documents with their index or without, and how many a query reads.
class CountingSource final : public xq::DocumentSource {
 public:
  CountingSource(ContainerDocuments& documents, bool has_index)
      : documents_(documents), has_index_(has_index) {}

  int read() const { return read_; }

  xq::SourceDocument FindDocument(const std::string& uri) override {
    return documents_.FindDocument(uri);
  }
  std::unique_ptr<xq::DocumentStream> OpenCollection(
      const std::string& uri) override {
    return std::make_unique<Stream>(*this, documents_.OpenCollection(uri));
  }
  const xq::CollectionIndex* IndexOf(const std::string& uri) override {
    const xq::CollectionIndex* const found = documents_.IndexOf(uri);
    if (!has_index_ || found == nullptr) return nullptr;
    // Each stays while the query runs: a condition may ask for another.
    return &indexes_.emplace_front(*this, *found);
  }

 private:
  class Stream final : public xq::DocumentStream {
   public:
    Stream(CountingSource& source, std::unique_ptr<xq::DocumentStream> stream)
        : source_(source), stream_(std::move(stream)) {}
    bool IsOrdered() const override { return stream_->IsOrdered(); }
    void StartBehind(const std::string& name) override {
      stream_->StartBehind(name);
    }
    bool Next(xq::SourceDocument& document) override {
      const bool is_there = stream_->Next(document);
      source_.read_ += is_there;
      return is_there;
    }

   private:
    CountingSource& source_;
    const std::unique_ptr<xq::DocumentStream> stream_;
  };
  class Index final : public xq::CollectionIndex {
   public:
    Index(CountingSource& source, const xq::CollectionIndex& index)
        : source_(source), index_(index) {}
    const Dictionary& dictionary() const override {
      return index_.dictionary();
    }
    std::uint8_t Traits(PathId path) const override {
      return index_.Traits(path);
    }
    void EachLeaf(PathId path, const xq::IndexBounds& bounds,
                  const std::function<bool(const xq::IndexedLeaf&)>& each)
        const override {
      index_.EachLeaf(path, bounds, each);
    }
    std::uint64_t Estimate(PathId path,
                           const xq::IndexBounds& bounds) const override {
      return index_.Estimate(path, bounds);
    }
    std::unique_ptr<xq::DocumentStream> Documents(
        std::vector<std::uint64_t> numbers) const override {
      return std::make_unique<Stream>(source_,
                                      index_.Documents(std::move(numbers)));
    }

   private:
    CountingSource& source_;
    const xq::CollectionIndex& index_;
  };

  ContainerDocuments& documents_;
  const bool has_index_;
  int read_ = 0;
  std::forward_list<Index> indexes_;
};

struct Answered {
  std::string text;  // or the code of the error
  int read = 0;
};

class IndexedQueryTest : public ContainerTest {
 protected:
  IndexedQueryTest() { session_->AddContainer(container_); }

  void Put(const std::string& name, const std::string& content,
           Transaction* transaction = nullptr) {
    container_->Put(name, content, transaction);
  }

  Answered Answer(const std::string& query, bool has_index,
                  TransactionChoice choice = {}) {
    ContainerDocuments documents(session_, std::move(choice));
    CountingSource source(documents, has_index);
    const auto transaction = documents.HoldTransaction();
    Answered answered;
    try {
      xq::Surroundings surroundings;
      surroundings.documents = &source;
      xq::RunningQuery running(xq::Compile(query, {}), surroundings, xq::Item(),
                               {});
      xq::Serializer serializer(answered.text);
      for (xq::Item item; running.Next(item);) {
        if (item.IsNode() &&
            item.tree().kind(item.node()) == NodeKind::Attribute)
          answered.text += "@" + item.tree().StringValue(item.node());
        else
          serializer.Write(item);
      }
    } catch (const xq::Error& error) {
      answered.text = error.code();
    }
    answered.read = source.read();
    return answered;
  }

  // Also compares with the answer that comes without the index.
  Answered Both(const std::string& query) {
    const Answered plain = Answer(query, false);
    Answered indexed = Answer(query, true);
    EXPECT_EQ(indexed.text, plain.text) << query;
    return indexed;
  }

  const std::shared_ptr<Session> session_ =
      std::make_shared<Session>(environment_, false, false);
};

const std::string kTwenty = "abcdefghijklmnopqrst";
const std::string kLong(70, 'z');

// Ten documents, hard on an index.
class AwkwardDocuments : public IndexedQueryTest {
 protected:
  AwkwardDocuments() {
    // Stored in another order than that of the names.
    Put("j", "<r id='1' n='3'><v>x</v><s>one</s></r>");
    Put("a", "<r id='1' n='10'><v>x</v><p><q>deep</q></p></r>");
    Put("b", "<r id='2' n='9'><v/><v>y</v><w>2004-02-30</w></r>");
    Put("c", "<r id='NaN' n='1e1'><v>x y</v><s>" + kTwenty + "</s></r>");
    Put("d", "<r n='abc'><l>" + kLong + "</l><l>short</l></r>");
    Put("e",
        "<r id=' 1 '><t>a<!--c-->b</t><t>ab</t><s>" + kTwenty + "u</s></r>");
    Put("f", "<r><k>x</k></r>");
    Put("g", "<r><k><u>x</u></k></r>");
    Put("h", "<p:r xmlns:p='u' id='1'/>");
    Put("i", "<r id='\xE8\xAE\xA2'><o><r id='1'/></o></r>");
  }

  static std::string QueryOf(std::string query) {
    for (std::size_t i = 0; (i = query.find('C', i)) != std::string::npos;)
      query.replace(i, 1, "collection('orders')");
    return query;
  }
};

constexpr struct {
  const char* query;  // C: the collection
  int read;           // documents, of ten
} kQueries[] = {
    // Comparisons.
    {"C/r[@id='1']", 2},
    {"C/r[@id=()]", 0},
    {"C/r[@id eq 1]", 1},
    {"C/r[@id = 1]", 3},
    {"C/r[number(@n) > 9]", 2},
    {"C/r[@n >= '3'][@n <= '9']/@n", 2},
    {"C/r[xs:double(@id) + 1 = 2]/@id", 3},
    {"C/r[s = 'abcdefghijklmnopqrst']", 1},
    {"C/r[s = 'abcdefghijklmnopqrstu']", 1},
    // Ways to what is compared.
    {"C/r[v/text() = 'x']", 2},
    {"C/r[t/text() = 'ab']/t", 10},
    {"C/r[l = 'zzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzzz"
     "zzzzzzzz']",
     10},
    {"C/r[k = 'x']", 10},
    {"C/r[p/q = 'deep']", 1},
    {"C//r[@id = '1']/@id", 3},
    {"C//@id[. = '1']", 4},
    {"C/r[.//@id = '1']/v", 3},
    {"declare namespace p = 'u'; C/p:*[@id = '1']", 1},
    {"C/r[p[q = 'deep']]", 1},
    {"C/r[@id = '2' or p/q = 'deep']", 2},
    {"C/r[@id = '2' or not(@id)]", 10},
    {"C/r[not(@id = '1')]/@id", 10},
    // Places of the condition.
    {"C[r/@id = '1']/r/@n", 2},
    {"(C/r)[8][@id = '1']", 9},
    {"C/r[1][@id = '1']/@n", 2},
    {"C[position() ge 2]/r[@id = '1']/@n", 10},
    {"for $r in C/r, $v in $r/v where $v = 'x' and $r/@n = '3' return $r", 1},
    {"for $r at $i in C/r where $r/@id = '1' return $i", 10},
    {"some $r in C/r satisfies $r/@id = '2'", 1},
    {"for $r in C/r return count($r[@id = '1'])", 10},
    {"for $r in C/r return count(for $v in $r/v where $v = 'x' return 1)", 10},
    {"let $all := C/r where $all/@id = '1' return count($all)", 10},
    {"for $x in ('1', '2') return C/r[@id = $x]/@n", 3},
    {"declare function local:f($x) {for $r in C/r where $r/@id = $x return "
     "$r/@n}; local:f('2'), local:f('1')",
     3},
    {"for $x in ('1', '2') return for $r in C/r where $r/@id = '1' return "
     "concat($x, $r/@n)",
     2},
    {"for $a in C/r[@n = '3'], $b in C/r where $a/@id = $b/@id return $b/@n",
     11},
    // The inner path is asked for the look-up, and again by the predicate.
    {"C/r[@n = C/r[@id = '2']/@n]", 3},
    // Orders of the nodes.
    {"(C/r[@id = '2'] | C/r[@id = '1'])/@n", 3},
    {"C/r[@id = '2']/@n, count(C/r[@id = '2'] intersect C/r)", 12},
};

TEST_F(AwkwardDocuments, AreAnsweredAsWithoutTheIndex) {
  for (const auto& [query, read] : kQueries) {
    const Answered indexed = Both(QueryOf(query));
    EXPECT_EQ(indexed.read, read) << query << "\n" << indexed.text;
  }
}

TEST_F(AwkwardDocuments, SayWhatTheirIndexIsAskedFor) {
  ContainerDocuments documents(session_, {});
  xq::Surroundings surroundings;
  surroundings.documents = &documents;
  constexpr const char* kPlans[][2] = {
      {"C/r[number(@n) > 5]", "index r/@n where number($value) > 5: 5 rows\n"},
      {"C/r[k = 'x']", "index r/k = \"x\": it has not all of these\n"},
      {"C//r[p/q = ('deep', 'x')]",
       "index //r/p/q = (\"deep\", \"x\"): 1 row\n"},
      {"for $x in C return C/r[@id = $x/r/@id]",
       "index r/@id = once($x/r/@id)\n"}};
  for (const auto& [query, line] : kPlans)
    EXPECT_THAT(xq::Explain(*xq::Compile(QueryOf(query), {}), surroundings),
                testing::HasSubstr(line));
}

TEST_F(IndexedQueryTest, SeeWhatTheirTransactionHasChanged) {
  Put("a", "<r id='1'/>");
  Put("b", "<r id='1'/>");
  const auto transaction = environment_->Begin();
  const TransactionChoice choice{
      .is_set = true, .transaction = transaction, .environment = environment_};
  container_->Delete("a", transaction.get());
  Put("c", "<r id='1'><new>x</new></r>", transaction.get());
  const char query[] = "collection('orders')/r[@id = '1']/document-uri(/)";
  const char new_name[] = "collection('orders')/r[new = 'x']/@id/string()";
  EXPECT_EQ(Answer(query, true, choice).text, "orders.xdb/b orders.xdb/c");
  EXPECT_EQ(Answer(new_name, true, choice).text, "1");
  transaction->Abort();
  EXPECT_EQ(Answer(query, true).text, "orders.xdb/a orders.xdb/b");
}

// Of many documents those wanted are looked up, or picked out of all.
TEST_F(IndexedQueryTest, FindAnyShareOfManyDocuments) {
  const auto transaction = environment_->Begin();
  for (int i = 0; i < 2000; ++i) {
    const std::string n = std::to_string(i);
    Put("d" + n,
        "<r n='" + n + "' half='" + std::to_string(i % 2) + "' rare='" +
            std::to_string(i % 400) + "'/>",
        transaction.get());
  }
  transaction->Commit();
  const std::string all = "collection('orders')/r";
  EXPECT_EQ(Both(all + "[@half = '1']/@n/string()").read, 1000);
  EXPECT_EQ(Both(all + "[@rare = '7']/@n/string()").read, 5);
  EXPECT_EQ(Both(all + "[@half = 1][@rare > 390]/@n/string()").read, 25);
}

}  // namespace
}  // namespace kiv::xdb

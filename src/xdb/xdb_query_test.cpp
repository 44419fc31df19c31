#include "kiv/xdb_query.h"

#include <thread>

#include "xdb/query_testing.h"

namespace kiv::xdb {
namespace {

constexpr char kOrderGb[] = "\xB6\xA9\xB5\xA5";  // 订单
constexpr char kOrderUtf8[] = "\xE8\xAE\xA2\xE5\x8D\x95";

class XDbQueryTest : public OpenedXDbTest {
 protected:
  XDbQueryTest() { EXPECT_TRUE(manager_.CreateQueryContext(context_)); }

  XDbQueryContext context_;
};

TEST_F(XDbQueryTest, RunsQueries) {
  AnswerItems({MakeString(kOrderUtf8), MakeNumber(2)});
  XDbResults results;
  ASSERT_TRUE(manager_.Query("1", results, false));
  XDbValue value;
  ASSERT_TRUE(results.next(value));
  EXPECT_EQ(value.asString(), kOrderGb);
  XDbQueryExpression expression;
  ASSERT_TRUE(manager_.Prepare(kOrderGb, context_, expression, false));
  EXPECT_EQ(expression.GetQuery(), kOrderGb);
  const XDbQueryExpression copy = expression;
  const auto shared = copy.Execute(context_);
  ASSERT_NE(shared, nullptr);
  EXPECT_EQ(shared->size(), 2u);
  EXPECT_TRUE(expression.Execute(context_, results));
  EXPECT_TRUE(results.is_bof());
  // A context of one's own is not needed.
  XDbQueryContext unbound;
  EXPECT_TRUE(expression.Execute(unbound, results));
  expression.close();
  EXPECT_FALSE(expression.Execute(context_, results));
  EXPECT_TRUE(copy.Execute(context_, results));
}

TEST_F(XDbQueryTest, HandsOnTheContextInUtf8) {
  QueryContext seen;
  std::string text;
  Answer([&](const std::string& query, const QueryContext& context) {
    text = query;
    seen = context;
    return std::make_shared<ListResults>(Items());
  });
  XDbValue value(kOrderGb);
  ASSERT_TRUE(context_.SetVariableValue(kOrderGb, value));
  ASSERT_TRUE(context_.SetNamespace("p", kOrderGb));
  ASSERT_TRUE(context_.SetReturnType(XDbQueryContext::DeadValues));
  ASSERT_TRUE(context_.SetEvaluationType(XDbQueryContext::Lazy));
  XDbTransaction transaction;
  ASSERT_TRUE(manager_.CreateTransaction(transaction));
  ASSERT_TRUE(context_.SetTransaction(transaction));
  XDbResults results;
  ASSERT_TRUE(manager_.Query(kOrderGb, context_, results, false));
  EXPECT_EQ(text, kOrderUtf8);
  ASSERT_EQ(seen.variables.count(kOrderUtf8), 1u);
  EXPECT_EQ(seen.variables[kOrderUtf8]->AsString(), kOrderUtf8);
  EXPECT_EQ(seen.namespaces["p"], kOrderUtf8);
  EXPECT_EQ(seen.return_type, 1);
  EXPECT_EQ(seen.evaluation_type, 1);
  EXPECT_NE(ChosenTransaction(
                seen.transaction,
                static_cast<Session*>(manager_.inner_mnr())->environment()),
            nullptr);
}

TEST_F(XDbQueryTest, KeepsWhatAContextIsTold) {
  EXPECT_EQ(context_.GetReturnType(), 0);
  EXPECT_EQ(context_.GetEvaluationType(), 0);
  EXPECT_FALSE(
      context_.SetReturnType(static_cast<XDbQueryContext::ReturnType>(2)));
  EXPECT_FALSE(
      context_.SetReturnType(static_cast<XDbQueryContext::ReturnType>(-1)));
  EXPECT_FALSE(context_.SetEvaluationType(
      static_cast<XDbQueryContext::EvaluationType>(2)));
  EXPECT_TRUE(context_.SetReturnType(XDbQueryContext::DeadValues));
  EXPECT_TRUE(context_.SetEvaluationType(XDbQueryContext::Lazy));
  EXPECT_EQ(context_.GetReturnType(), 1);
  EXPECT_EQ(context_.GetEvaluationType(), 1);
  // What the language below might come up with.
  XDbAccess::Context(context_)->return_type = 7;
  XDbAccess::Context(context_)->evaluation_type = -1;
  EXPECT_THROW(context_.GetReturnType(), std::exception);
  EXPECT_THROW(context_.GetEvaluationType(), std::exception);

  EXPECT_FALSE(context_.SetNamespace("", "u"));
  EXPECT_FALSE(context_.SetNamespace(nullptr, "u"));
  EXPECT_FALSE(context_.SetNamespace("p", ""));
  EXPECT_FALSE(context_.SetNamespace("p", nullptr));
  EXPECT_EQ(context_.GetNamespace("p"), "");
  EXPECT_TRUE(context_.SetNamespace("p", kOrderGb));
  EXPECT_EQ(context_.GetNamespace("p"), kOrderGb);
  EXPECT_EQ(context_.GetNamespace(""), "");
  EXPECT_EQ(context_.GetNamespace(nullptr), "");

  XDbValue value(3.0);
  XDbValue empty;
  EXPECT_FALSE(context_.SetVariableValue("", value));
  EXPECT_FALSE(context_.SetVariableValue(nullptr, value));
  EXPECT_FALSE(context_.SetVariableValue("v", empty));
  EXPECT_TRUE(context_.SetVariableValue("v", value));
  XDbValue found("untouched");
  EXPECT_FALSE(context_.GetVariableValue("w", found));
  EXPECT_FALSE(context_.GetVariableValue(nullptr, found));
  EXPECT_EQ(found.asString(), "untouched");
  EXPECT_TRUE(context_.GetVariableValue("v", found));
  EXPECT_TRUE(found == value);
}

TEST_F(XDbQueryTest, LogsWhatTheQueryLanguageThrows) {
  Answer([](const std::string&,
            const QueryContext&) -> std::shared_ptr<QueryResults> {
    throw std::runtime_error("out of time");
  });
  EXPECT_EQ(manager_.Prepare("", context_, true), nullptr);
  EXPECT_EQ(LogText(), "");
  EXPECT_EQ(manager_.Prepare("nonsense", context_, true), nullptr);
  EXPECT_TRUE(Logged("XDbManager::Prepare exception: line 1: nonsense"));
  const auto expression = manager_.Prepare("1", context_, false);
  ASSERT_NE(expression, nullptr);
  XDbResults results;
  EXPECT_FALSE(expression->Execute(context_, results));
  EXPECT_TRUE(Logged("XDbQueryExpression::Execute exception: out of time"));
  EXPECT_EQ(expression->Execute(context_), nullptr);
  EXPECT_TRUE(Logged("XDbQueryExpression::Execute exception:out of time"));
}

TEST_F(XDbQueryTest, AnswersFalseWhileUnbound) {
  XDbQueryExpression expression;
  XDbQueryContext context;
  XDbResults results;
  XDbValue value(1.0);
  XDbTransaction transaction;
  EXPECT_FALSE(expression.Execute(context, results));
  EXPECT_EQ(expression.Execute(context), nullptr);
  expression.close();
  EXPECT_FALSE(context.SetReturnType(XDbQueryContext::DeadValues));
  EXPECT_FALSE(context.SetEvaluationType(XDbQueryContext::Lazy));
  EXPECT_EQ(context.GetReturnType(), 0);
  EXPECT_EQ(context.GetEvaluationType(), 0);
  EXPECT_FALSE(context.SetNamespace("p", "u"));
  EXPECT_EQ(context.GetNamespace("p"), "");
  EXPECT_FALSE(context.SetVariableValue("v", value));
  EXPECT_FALSE(context.GetVariableValue("v", value));
  EXPECT_FALSE(context.SetTransaction(transaction));
  context.ClearTransaction();
  EXPECT_EQ(LogText(), "");
  EXPECT_EQ(expression.GetQuery(), "");
  EXPECT_TRUE(Logged("XDbQueryExpression::GetQuery error."));
}

TEST_F(XDbQueryTest, PreparesATextOnceWhenItIsCached) {
  AnswerItems({});
  const auto first = manager_.Prepare("1", context_, true);
  EXPECT_EQ(manager_.Prepare("1", context_, true), first);
  // Also for who does not ask for it.
  EXPECT_EQ(manager_.Prepare("1", context_, false), first);
  EXPECT_NE(manager_.Prepare("2", context_, false),
            manager_.Prepare("2", context_, false));
  // Another environment, another query; who still holds the old one is told.
  ASSERT_TRUE(manager_.Open("db", 0x0C, nullptr, nullptr));
  AnswerItems({});
  XDbResults results;
  EXPECT_FALSE(first->Execute(context_, results));
  EXPECT_TRUE(
      Logged("XDbQueryExpression::Execute exception: the manager was "
             "closed since the query was prepared"));
  const auto second = manager_.Prepare("1", context_, true);
  EXPECT_NE(second, first);
  EXPECT_TRUE(second->Execute(context_, results));
  EXPECT_EQ(manager_.Prepare("1", context_, true), second);
}

TEST_F(XDbQueryTest, PreparesFromManyThreads) {
  AnswerItems({});
  constexpr int kTexts = 50;
  std::vector<std::vector<const XDbQueryExpression*>> found(4);
  std::vector<std::thread> threads;
  for (auto& mine : found)
    threads.emplace_back([this, &mine] {
      XDbQueryContext context;
      for (int round = 0; round < 4; ++round)
        for (int i = 0; i < kTexts; ++i)
          mine.push_back(
              manager_.Prepare(std::to_string(i), context, true).get());
    });
  for (std::thread& thread : threads) thread.join();
  for (const auto& mine : found) EXPECT_EQ(mine, found[0]);
  for (int i = 0; i < kTexts; ++i) EXPECT_EQ(found[0][i], found[0][kTexts + i]);
}

TEST_F(XDbQueryTest, ResultsOutliveTheManager) {
  AnswerItems({MakeNumber(1)});
  XDbResults results;
  ASSERT_TRUE(manager_.Query("1", results, true));
  manager_.Close();
  XDbValue value;
  EXPECT_TRUE(results.next(value));
}

}  // namespace
}  // namespace kiv::xdb

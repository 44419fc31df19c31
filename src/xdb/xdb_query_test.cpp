#include "kiv/xdb_query.h"

#include <string>
#include <thread>
#include <vector>

#include "xdb/query_testing.h"

namespace kiv::xdb {
namespace {

constexpr char kOrderGb[] = "\xB6\xA9\xB5\xA5";  // 订单

class XDbQueryTest : public OpenedXDbTest {
 protected:
  XDbQueryTest() { EXPECT_TRUE(manager_.CreateQueryContext(context_)); }

  XDbQueryContext context_;
};

TEST_F(XDbQueryTest, RunsQueries) {
  const std::string query = std::string("'") + kOrderGb + "', 2";
  XDbResults results;
  XDbValue value;
  XDbQueryExpression expression;
  ASSERT_TRUE(manager_.Prepare(query.c_str(), context_, expression, false));
  EXPECT_EQ(expression.GetQuery(), query);
  const XDbQueryExpression copy = expression;
  const auto shared = copy.Execute(context_);
  ASSERT_NE(shared, nullptr);
  EXPECT_EQ(shared->size(), 2u);
  // A context of one's own is not needed.
  XDbQueryContext unbound;
  EXPECT_TRUE(expression.Execute(unbound, results));
  expression.close();
  EXPECT_FALSE(expression.Execute(context_, results));
  EXPECT_TRUE(copy.Execute(context_, results));
  // Results outlive the manager.
  manager_.Close();
  EXPECT_TRUE(results.next(value));
  EXPECT_EQ(value.asString(), kOrderGb);
}

TEST_F(XDbQueryTest, KeepsWhatAContextIsTold) {
  for (const int none : {-1, 2})
    ExpectAllFalse(
        context_.SetReturnType(XDbQueryContext::ReturnType(none)),
        context_.SetEvaluationType(XDbQueryContext::EvaluationType(none)));
  EXPECT_TRUE(context_.SetReturnType(XDbQueryContext::DeadValues) &&
              context_.SetEvaluationType(XDbQueryContext::Lazy));
  EXPECT_TRUE(context_.GetReturnType() == 1 &&
              context_.GetEvaluationType() == 1);
  // What the language below might come up with.
  XDbAccess::Context(context_)->return_type = 7;
  XDbAccess::Context(context_)->evaluation_type = -1;
  EXPECT_THROW(context_.GetReturnType(), std::exception);
  EXPECT_THROW(context_.GetEvaluationType(), std::exception);

  XDbValue value(3.0);
  XDbValue empty;
  for (const char* const none : {"", static_cast<const char*>(nullptr)}) {
    ExpectAllFalse(context_.SetNamespace(none, "u"),
                   context_.SetNamespace("p", none),
                   context_.SetVariableValue(none, value));
    EXPECT_EQ(context_.GetNamespace(none) + context_.GetNamespace("p"), "");
  }
  EXPECT_TRUE(context_.SetNamespace("p", kOrderGb));
  EXPECT_EQ(context_.GetNamespace("p"), kOrderGb);
  EXPECT_FALSE(context_.SetVariableValue("v", empty));
  EXPECT_TRUE(context_.SetVariableValue("v", value));
  XDbValue found("untouched");
  EXPECT_FALSE(context_.GetVariableValue("w", found));
  EXPECT_EQ(found.asString(), "untouched");
  EXPECT_TRUE(context_.GetVariableValue("v", found));
  EXPECT_TRUE(found == value);
}

TEST_F(XDbQueryTest, LogsWhatTheQueryLanguageThrows) {
  EXPECT_EQ(manager_.Prepare("", context_, true), nullptr);
  EXPECT_EQ(LogText(), "");
  EXPECT_EQ(manager_.Prepare("1 +", context_, true), nullptr);
  ExpectLogged("XDbManager::Prepare exception: XPST0003 at line 1, ");
  const auto expression = manager_.Prepare("error()", context_, false);
  ASSERT_NE(expression, nullptr);
  XDbResults results;
  EXPECT_FALSE(expression->Execute(context_, results));
  ExpectLogged("XDbQueryExpression::Execute exception: FOER0000 at ");
  EXPECT_EQ(expression->Execute(context_), nullptr);
  ExpectLogged("XDbQueryExpression::Execute exception:FOER0000 at ");
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
  ExpectAllFalse(context.SetReturnType(XDbQueryContext::DeadValues),
                 context.SetEvaluationType(XDbQueryContext::Lazy),
                 context.GetReturnType() != 0, context.GetEvaluationType() != 0,
                 context.SetNamespace("p", "u"),
                 context.SetVariableValue("v", value),
                 context.GetVariableValue("v", value),
                 context.SetTransaction(transaction));
  EXPECT_EQ(context.GetNamespace("p"), "");
  context.ClearTransaction();
  EXPECT_EQ(LogText(), "");
  EXPECT_EQ(expression.GetQuery(), "");
  ExpectLogged("XDbQueryExpression::GetQuery error.");
}

TEST_F(XDbQueryTest, PreparesATextOnceWhenItIsCached) {
  const auto first = manager_.Prepare("1", context_, true);
  EXPECT_EQ(manager_.Prepare("1", context_, true), first);
  // Also for who does not ask for it.
  EXPECT_EQ(manager_.Prepare("1", context_, false), first);
  EXPECT_NE(manager_.Prepare("2", context_, false),
            manager_.Prepare("2", context_, false));
  // Another environment, another query; who still holds the old one is told.
  ASSERT_TRUE(manager_.Open("db", 0x0C, nullptr, nullptr));
  XDbResults results;
  EXPECT_FALSE(first->Execute(context_, results));
  ExpectLogged(
      "XDbQueryExpression::Execute exception: the manager was closed since the "
      "query was prepared");
  const auto second = manager_.Prepare("1", context_, true);
  EXPECT_NE(second, first);
  EXPECT_TRUE(second->Execute(context_, results));
  EXPECT_EQ(manager_.Prepare("1", context_, true), second);
}

TEST_F(XDbQueryTest, PreparesFromManyThreads) {
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

}  // namespace
}  // namespace kiv::xdb

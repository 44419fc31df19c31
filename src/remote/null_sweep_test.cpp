// Every function of the remote client with null, and its neutral result.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "port/test_folder.h"
#include "remote/service_interface.h"
#include "remote/wire_text.h"
#include "rmt/rmt.h"
#include "testing/test_log.h"

namespace kiv::remote {
namespace {

using ::testing::Each;

TEST(RemoteNullSweep, GivesNeutralResults) {
  const TestFolder folder;
  const kiv::testing::TestLog log;
  RemoteServiceInfo record{};
  RemoteProjectProxy result{};
  const RemoteProjectID id{};
  const ::kiv::server::ProjectID slice_id{};

  rmt_delete_communicator(nullptr);
  rmt_delete_proxy_list(nullptr);
  rmt_delete_memory(nullptr);
  rmt_delete_string_array(nullptr);
  rmt_delete_string_value(nullptr);
  rmt_fix_service_info(nullptr, &record);

  const void* const pointers[] = {
      rmt_get_communicator(nullptr),
      rmt_create_proxy_list(nullptr),
      rmt_get_proxy_list_parent(nullptr),
      rmt_get_proxy(nullptr, nullptr, 1, nullptr, 0, 0),
      rmt_get_proxy2(nullptr, nullptr, nullptr, nullptr, 0, 0, 0),
      rmt_get_service_proxy(nullptr, nullptr),
      rmt_get_proxy_parent(nullptr),
      rmt_get_proxy_inner(nullptr),
      rmt_get_project_id(nullptr, nullptr, nullptr),
      rmt_member_project_id(nullptr, &id),
      rmt_member_project_id2(nullptr, slice_id),
      rmt_member_project_id_by_key(nullptr, nullptr, nullptr),
      rmt_get_solutions2(nullptr),
      rmt_get_projects2(nullptr, nullptr),
      rmt_string_array_item(nullptr, 0)};
  EXPECT_THAT(pointers, Each(nullptr));

  const bool answers[] = {
      rmt_get_remote_server(nullptr, &record),
      rmt_get_remote_server("a", nullptr),
      rmt_set_remote_server(nullptr, &record),
      rmt_set_remote_server("a", nullptr),
      rmt_get_named_proxy(nullptr, nullptr, nullptr),
      rmt_get_proxy_from_info(nullptr, &record, &result),
      rmt_get_project_proxy(nullptr, nullptr, 0, nullptr, nullptr, nullptr, 0,
                            0, nullptr),
      rmt_get_project_proxy2(nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, 0, 0, 0, &result),
      rmt_reload_config(nullptr),
      rmt_get_version(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
      rmt_is_version_compatible(nullptr, 1, 2, 3),
      rmt_send_command(nullptr, nullptr, nullptr),
      rmt_query_project_id(nullptr, nullptr, nullptr),
      rmt_query_project_id2(nullptr, nullptr, nullptr),
      rmt_query_project_id3(nullptr, nullptr, nullptr, nullptr),
      rmt_shutdown(nullptr),
      rmt_string_array_set(nullptr, 0, "x"),
      rmt_ping(nullptr)};
  EXPECT_THAT(answers, Each(false));
  EXPECT_EQ(rmt_last_error_code(), RMT_BAD_ARGUMENT);
  EXPECT_EQ(result.proxy, nullptr);

  EXPECT_EQ(rmt_get_proxy_port(nullptr) + rmt_max_message_size(nullptr), 0);
  EXPECT_EQ(rmt_pid_sol(nullptr) + rmt_pid_proj(nullptr), 0);
  EXPECT_EQ(rmt_string_array_count(nullptr), 0U);
  EXPECT_EQ(rmt_string_value_size(nullptr), 0U);
  EXPECT_STREQ(rmt_string_value_text(nullptr), "");
  EXPECT_STREQ(rmt_get_proxy_ip(nullptr), "");
}

TEST(RemoteMemory, HoldsTextsUntilItIsReleased) {
  char** const array = rmt_new_string_array(2);
  ASSERT_EQ(rmt_string_array_count(array), 2U);
  for (const char* const text : {"first", "second"})
    EXPECT_TRUE(rmt_string_array_set(array, 1, text));
  EXPECT_STREQ(rmt_string_array_item(array, 1), "second");
  EXPECT_TRUE(rmt_string_array_set(array, 1, nullptr));
  EXPECT_EQ(rmt_string_array_item(array, 1), nullptr);
  EXPECT_FALSE(rmt_string_array_set(array, 2, "x"));
  rmt_delete_string_array(array);
  EXPECT_EQ(rmt_new_string_array(static_cast<std::size_t>(-1)), nullptr);

  RemoteStringValue* const value = rmt_new_string_value();
  value->text = NewFromWire("filled", value->size);
  rmt_delete_string_value(value);  // with its text, as leak checks see
  rmt_delete_memory(rmt_new_memory(3));
}

TEST(RemoteText, IsUtf8OnTheWireAndLocalOutside) {
  EXPECT_EQ(ToWire("\xB7\xFE\xCE\xF1 a"), "\xE6\x9C\x8D\xE5\x8A\xA1 a");
  EXPECT_EQ(ToWire(nullptr), "");
  EXPECT_EQ(FromWire("\xE6\x9C\x8D\xE5\x8A\xA1 12345678"),
            "\xB7\xFE\xCE\xF1 12345678");
  EXPECT_EQ(FromWire("\xF0\x9F\x98\x80!"), "?!");
  // Of an old service: 服务 as it stands.
  EXPECT_EQ(FromWire("\xB7\xFE\xCE\xF1"), "\xB7\xFE\xCE\xF1");
}

}  // namespace
}  // namespace kiv::remote

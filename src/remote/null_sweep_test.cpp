// Every function of the remote client with null, and its neutral result.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "port/test_folder.h"
#include "remote/service_interface.h"
#include "remote/wire_text.h"
#include "rmt/rmt.h"
#include "testing/test_log.h"

namespace kiv::remote {
namespace {

TEST(RemoteNullSweep, GivesNeutralResults) {
  const TestFolder folder;
  const kiv::testing::TestLog log;
  RemoteServiceInfo record{};
  RemoteProjectProxy result{};
  const RemoteProjectID id{};
  const ::kiv::server::ProjectID slice_id{};

  EXPECT_FALSE(rmt_get_remote_server(nullptr, &record));
  EXPECT_FALSE(rmt_set_remote_server(nullptr, &record));

  rmt_delete_communicator(nullptr);
  EXPECT_EQ(rmt_get_communicator(nullptr), nullptr);
  EXPECT_EQ(rmt_create_proxy_list(nullptr), nullptr);
  rmt_delete_proxy_list(nullptr);
  EXPECT_EQ(rmt_get_proxy_list_parent(nullptr), nullptr);

  EXPECT_EQ(rmt_get_proxy(nullptr, nullptr, 1, nullptr, 0, 0), nullptr);
  EXPECT_EQ(rmt_get_proxy2(nullptr, nullptr, nullptr, nullptr, 0, 0, 0),
            nullptr);
  EXPECT_EQ(rmt_get_service_proxy(nullptr, nullptr), nullptr);
  EXPECT_EQ(rmt_get_proxy_parent(nullptr), nullptr);
  EXPECT_STREQ(rmt_get_proxy_ip(nullptr), "");
  EXPECT_EQ(rmt_get_proxy_port(nullptr), 0);
  EXPECT_EQ(rmt_get_proxy_inner(nullptr), nullptr);
  rmt_fix_service_info(nullptr, &record);
  rmt_fix_service_info(nullptr, nullptr);

  EXPECT_FALSE(rmt_get_named_proxy(nullptr, nullptr, nullptr));
  EXPECT_FALSE(rmt_get_proxy_from_info(nullptr, &record, &result));
  EXPECT_FALSE(rmt_get_proxy_from_info(nullptr, nullptr, nullptr));
  EXPECT_FALSE(rmt_get_project_proxy(nullptr, nullptr, 0, nullptr, nullptr,
                                     nullptr, 0, 0, nullptr));
  EXPECT_FALSE(rmt_get_project_proxy2(nullptr, nullptr, nullptr, nullptr,
                                      nullptr, nullptr, 0, 0, 0, &result));
  EXPECT_EQ(result.proxy, nullptr);
  EXPECT_EQ(rmt_get_project_id(nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(rmt_member_project_id(nullptr, &id), nullptr);
  EXPECT_EQ(rmt_member_project_id(nullptr, nullptr), nullptr);
  EXPECT_EQ(rmt_member_project_id2(nullptr, slice_id), nullptr);
  EXPECT_EQ(rmt_member_project_id_by_key(nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(rmt_pid_sol(nullptr), 0);
  EXPECT_EQ(rmt_pid_proj(nullptr), 0);

  EXPECT_FALSE(rmt_ping(nullptr));
  EXPECT_EQ(rmt_last_error_code(), RMT_BAD_ARGUMENT);
  EXPECT_EQ(rmt_max_message_size(nullptr), 0);
  EXPECT_FALSE(rmt_reload_config(nullptr));
  EXPECT_FALSE(
      rmt_get_version(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
  EXPECT_FALSE(rmt_is_version_compatible(nullptr, 1, 2, 3));
  EXPECT_EQ(rmt_get_solutions2(nullptr), nullptr);
  EXPECT_EQ(rmt_get_projects2(nullptr, nullptr), nullptr);
  EXPECT_FALSE(rmt_send_command(nullptr, nullptr, nullptr));
  EXPECT_FALSE(rmt_query_project_id(nullptr, nullptr, nullptr));
  EXPECT_FALSE(rmt_query_project_id2(nullptr, nullptr, nullptr));
  EXPECT_FALSE(rmt_query_project_id3(nullptr, nullptr, nullptr, nullptr));
  EXPECT_FALSE(rmt_shutdown(nullptr));

  rmt_delete_memory(nullptr);
  rmt_delete_string_array(nullptr);
  EXPECT_EQ(rmt_string_array_count(nullptr), 0U);
  EXPECT_EQ(rmt_string_array_item(nullptr, 0), nullptr);
  EXPECT_FALSE(rmt_string_array_set(nullptr, 0, "x"));
  rmt_delete_string_value(nullptr);
  EXPECT_STREQ(rmt_string_value_text(nullptr), "");
  EXPECT_EQ(rmt_string_value_size(nullptr), 0U);
}

TEST(RemoteMemory, HoldsTextsUntilItIsReleased) {
  char** const array = rmt_new_string_array(2);
  ASSERT_EQ(rmt_string_array_count(array), 2U);
  EXPECT_EQ(rmt_string_array_item(array, 0), nullptr);
  EXPECT_TRUE(rmt_string_array_set(array, 1, "first"));
  EXPECT_TRUE(rmt_string_array_set(array, 1, "second"));
  EXPECT_STREQ(rmt_string_array_item(array, 1), "second");
  EXPECT_TRUE(rmt_string_array_set(array, 1, nullptr));
  EXPECT_EQ(rmt_string_array_item(array, 1), nullptr);
  EXPECT_FALSE(rmt_string_array_set(array, 2, "x"));
  rmt_delete_string_array(array);

  char** const empty = rmt_new_string_array(0);
  EXPECT_EQ(rmt_string_array_count(empty), 0U);
  rmt_delete_string_array(empty);
  EXPECT_EQ(rmt_new_string_array(static_cast<std::size_t>(-1)), nullptr);

  RemoteStringValue* const value = rmt_new_string_value();
  EXPECT_EQ(value->text, nullptr);
  EXPECT_EQ(value->size, 0U);
  EXPECT_STREQ(rmt_string_value_text(value), "");
  value->text = NewFromWire("filled", value->size);
  rmt_delete_string_value(value);  // with its text, as leak checks see

  void* const block = rmt_new_memory(3);
  std::memset(block, 1, 3);
  rmt_delete_memory(block);
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

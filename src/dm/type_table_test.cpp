#include <string>

#include "dm/data_test_fixture.h"
#include "dm/layout.h"

namespace dm {
namespace {

// What the short ways through an object's life say without asking the tables.
TEST(Layout, SaysWhatTheTablesSay) {
  for (unsigned id = 0; id < kTypeIds; ++id) {
    SCOPED_TRACE(id);
    const dm_type_info_t* const info = InfoFromId(id);
    const dm_header_info_t* const header =
        info == nullptr || info->header_info == nullptr ? nullptr
                                                        : info->header_info();
    EXPECT_EQ(HeaderSizeOf(id), header == nullptr ? 0 : header->header_size);
    // A value that owns nothing and whose bytes are all there is to it; a type
    // record's address is not for everybody to change.
    const bool is_plain = info != nullptr && header == dm_value_header_info() &&
                          info->destroy == nullptr && info->copy == nullptr &&
                          id != DM_STD_METADATA;
    EXPECT_EQ(kPlainSizes[id], is_plain ? info->data_size(nullptr) : 0);
    if (!IsNumber(id)) continue;
    EXPECT_TRUE(is_plain);
    const Any number = NewObject(id);
    const std::string zeros(kPlainSizes[id], '\0');
    EXPECT_EQ(std::string(static_cast<const char*>(dm_o_data(number.get())),
                          kPlainSizes[id]),
              zeros);
  }
  const unsigned bytes[] = {4, 1, 2, 4, 8, 16, 32, 0};
  for (unsigned id = 0; id < 8; ++id) {
    EXPECT_EQ(dm_o_align_bytes_from_id(static_cast<dm_align_id_e>(id)),
              bytes[id]);
  }
  for (unsigned id = 0; id < 16; ++id) {
    const auto* const deletor =
        dm_o_deletor_info_from_id(static_cast<dm_deletor_id_e>(id));
    const dm_sign sign = 0x1000 + (id << 8);
    EXPECT_EQ(DeletorFromSign(sign), deletor) << id;
    EXPECT_EQ(IsHeap(sign), deletor != nullptr && deletor->allocate != nullptr)
        << id;
  }
}

}  // namespace
}  // namespace dm

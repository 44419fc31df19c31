#include "mq/amqp_message.h"

#include <amqp_framing.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "util/cp936.h"
#include "util/utf8.h"

namespace kiv::mq {
namespace {

constexpr char kSender[] = "kivcorelib10";
constexpr char kLabel[] = "kiv-label";
constexpr char kSentMs[] = "kiv-sent-ms";
constexpr std::uint8_t kPersistent = 2;

// What a body was packed with: its bytes are not what the sender meant.
constexpr std::string_view kPackings[] = {"gzip", "deflate",  "br",
                                          "zstd", "compress", "base64"};

void ReadLabel(const amqp_field_value_t& value, StoredMessage& message) {
  const bool is_text =
      value.kind == AMQP_FIELD_KIND_UTF8 || value.kind == AMQP_FIELD_KIND_BYTES;
  const std::string label = is_text ? Copied(value.value.bytes) : "";
  if (is_text && IsUtf8(label))
    message.label = Utf8ToCp936(label);
  else
    message.label_fault = "the label is no UTF-8 text";
}

bool IsNamed(const amqp_table_entry_t& entry, std::string_view name) {
  return Copied(entry.key) == name;
}

}  // namespace

AmqpProperties::AmqpProperties(const StoredMessage& message)
    : label_utf8_(Cp936ToUtf8(message.label)) {
  const long long sent_ms = message.sent_ms.value_or(0);
  properties_._flags = AMQP_BASIC_CONTENT_TYPE_FLAG |
                       AMQP_BASIC_DELIVERY_MODE_FLAG |
                       AMQP_BASIC_MESSAGE_ID_FLAG | AMQP_BASIC_TIMESTAMP_FLAG |
                       AMQP_BASIC_APP_ID_FLAG | AMQP_BASIC_HEADERS_FLAG;
  properties_.content_type = amqp_cstring_bytes("application/octet-stream");
  properties_.delivery_mode = kPersistent;
  properties_.message_id = Borrowed(message.id);
  properties_.timestamp = static_cast<std::uint64_t>(sent_ms / 1000);
  properties_.app_id = amqp_cstring_bytes(kSender);
  headers_[0].key = amqp_cstring_bytes(kSentMs);
  headers_[0].value.kind = AMQP_FIELD_KIND_I64;
  headers_[0].value.value.i64 = sent_ms;
  headers_[1].key = amqp_cstring_bytes(kLabel);
  headers_[1].value.kind = AMQP_FIELD_KIND_UTF8;
  headers_[1].value.value.bytes = Borrowed(label_utf8_);
  properties_.headers.entries = headers_.data();
  properties_.headers.num_entries = label_utf8_.empty() ? 1 : 2;
}

void ReadProperties(const amqp_basic_properties_t& properties,
                    StoredMessage& message) {
  const auto has = [&properties](amqp_flags_t flag) {
    return (properties._flags & flag) != 0;
  };
  if (has(AMQP_BASIC_MESSAGE_ID_FLAG))
    message.id = Copied(properties.message_id);
  if (has(AMQP_BASIC_TIMESTAMP_FLAG))
    message.sent_ms = static_cast<long long>(properties.timestamp) * 1000;
  if (has(AMQP_BASIC_CONTENT_ENCODING_FLAG)) {
    const std::string packing = Copied(properties.content_encoding);
    if (std::find(std::begin(kPackings), std::end(kPackings), packing) !=
        std::end(kPackings))
      message.body_fault =
          "the body is packed as '" + packing + "', which is not unpacked here";
  }
  if (!has(AMQP_BASIC_HEADERS_FLAG)) return;
  for (int i = 0; i < properties.headers.num_entries; ++i) {
    const amqp_table_entry_t& entry = properties.headers.entries[i];
    if (IsNamed(entry, kLabel)) ReadLabel(entry.value, message);
    if (IsNamed(entry, kSentMs) && entry.value.kind == AMQP_FIELD_KIND_I64)
      message.sent_ms = entry.value.value.i64;
  }
}

bool IsOurs(const amqp_basic_properties_t& properties) {
  return (properties._flags & AMQP_BASIC_APP_ID_FLAG) != 0 &&
         Copied(properties.app_id) == kSender;
}

}  // namespace kiv::mq

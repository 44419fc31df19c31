#include "mq/amqp_connection.h"

#include <amqp_framing.h>
#include <amqp_ssl_socket.h>
#include <amqp_tcp_socket.h>

#include <algorithm>
#include <climits>
#include <new>

#include "mq/amqp_message.h"
#include "port/environment.h"
#include "port/socket.h"
#include "util/cp936.h"

namespace kiv::mq {
namespace {

constexpr amqp_channel_t kChannel = 1;
// The connection, its login and every answer.
constexpr int kAnswerSeconds = 5;
// A confirm comes when the disk has the message.
constexpr int kConfirmSeconds = 30;
// A sender whose socket is full while the broker takes nothing gives up. The
// connection's own heartbeats would not do: a broker that is short of memory or
// disk beats on.
constexpr int kUntakenSeconds = 30;
// Nobody beats while a queue is idle: the broker then ends the connection, and
// the next call makes another.
constexpr int kHeartbeatSeconds = 60;
constexpr char kUnconfirmed[] =
    "; the broker has not confirmed the message and may have it all the same";
constexpr char kTrustedByDefault[] = "/etc/ssl/certs/ca-certificates.crt";

template <class Method>
const Method& As(const amqp_method_t& method) {
  return *static_cast<const Method*>(method.decoded);
}

// Empty for a method that does not end anything.
std::string ClosingText(const amqp_method_t& method) {
  switch (method.id) {
    case AMQP_CONNECTION_CLOSE_METHOD:
      return Copied(As<amqp_connection_close_t>(method).reply_text);
    case AMQP_CHANNEL_CLOSE_METHOD:
      return Copied(As<amqp_channel_close_t>(method).reply_text);
    default:
      return "";
  }
}

bool Trust(amqp_socket_t* socket) {
  std::string file;
  if (!port::GetEnvironmentUtf8("KIV_MSMQ_CA", file) || file.empty())
    file = kTrustedByDefault;
  amqp_ssl_socket_set_verify_peer(socket, 1);
  amqp_ssl_socket_set_verify_hostname(socket, 1);
  return amqp_ssl_socket_set_cacert(socket, file.c_str()) == AMQP_STATUS_OK;
}

}  // namespace

std::unique_ptr<AmqpConnection> AmqpConnection::Open(const AmqpAddress& address,
                                                     std::string& reason) {
  std::unique_ptr<AmqpConnection> connection(new AmqpConnection(address));
  const std::string shown = Utf8ToCp936(address.Masked());
  std::string why;
  if (!connection->Connect(why))
    reason = "no broker answers at " + shown + ": " + why;
  else if (!connection->LogIn(why))
    reason = "the broker " + shown + " refuses us: " + why;
  else
    return connection;
  return nullptr;
}

bool AmqpConnection::Connect(std::string& reason) {
  state_ = amqp_new_connection();
  amqp_socket_t* const socket = state_ == nullptr ? nullptr
                                : address_.is_tls ? amqp_ssl_socket_new(state_)
                                                  : amqp_tcp_socket_new(state_);
  if (socket == nullptr) {
    reason = "there is no memory left";
    return false;
  }
  if (address_.is_tls && !Trust(socket)) {
    reason = "the file of trusted certificates (KIV_MSMQ_CA) cannot be read";
    return false;
  }
  const timeval limit{kAnswerSeconds, 0};
  amqp_set_handshake_timeout(state_, &limit);
  amqp_set_rpc_timeout(state_, &limit);
  if (!IsSent(amqp_socket_open_noblock(socket, address_.host.c_str(),
                                       address_.port, &limit),
              reason))
    return false;
  if (port::LimitUntakenTime(amqp_socket_get_sockfd(socket),
                             kUntakenSeconds * 1000))
    return true;
  reason = "the system sets no limit to a send";
  return false;
}

bool AmqpConnection::LogIn(std::string& reason) {
  if (!IsGood(
          amqp_login(state_, address_.vhost.c_str(), 1, AMQP_DEFAULT_FRAME_SIZE,
                     kHeartbeatSeconds, AMQP_SASL_METHOD_PLAIN,
                     address_.user.c_str(), address_.password.c_str()),
          reason))
    return false;
  amqp_channel_open(state_, kChannel);
  if (!IsGood(amqp_get_rpc_reply(state_), reason)) return false;
  amqp_confirm_select(state_, kChannel);
  return IsGood(amqp_get_rpc_reply(state_), reason);
}

AmqpConnection::~AmqpConnection() {
  if (state_ == nullptr) return;
  // A goodbye that nobody waits for: the broker may be gone.
  const timeval at_once{0, 100'000};
  amqp_set_rpc_timeout(state_, &at_once);
  amqp_connection_close(state_, AMQP_REPLY_SUCCESS);
  amqp_destroy_connection(state_);
}

bool AmqpConnection::IsSent(int status, std::string& reason) const {
  if (status == AMQP_STATUS_OK) return true;
  reason = amqp_error_string2(status);
  return false;
}

bool AmqpConnection::IsGood(const amqp_rpc_reply_t& reply,
                            std::string& reason) const {
  switch (reply.reply_type) {
    case AMQP_RESPONSE_NORMAL:
      return true;
    case AMQP_RESPONSE_LIBRARY_EXCEPTION:
      reason = amqp_error_string2(reply.library_error);
      break;
    case AMQP_RESPONSE_SERVER_EXCEPTION:
      reason = Utf8ToCp936(address_.Masked(ClosingText(reply.reply)));
      break;
    default:
      reason = "it gives no answer";
      break;
  }
  if (reason.empty()) reason = "it ended the connection";
  return false;
}

bool AmqpConnection::IsAlive() {
  for (;;) {
    const timeval at_once{0, 0};
    amqp_frame_t frame;
    const int status = amqp_simple_wait_frame_noblock(state_, &frame, &at_once);
    if (status == AMQP_STATUS_TIMEOUT) break;
    if (status != AMQP_STATUS_OK) return false;
    if (frame.frame_type == AMQP_FRAME_METHOD &&
        !ClosingText(frame.payload.method).empty())
      return false;
  }
  amqp_maybe_release_buffers(state_);
  return true;
}

bool AmqpConnection::NextFrame(amqp_frame_t& frame, Clock::time_point end,
                               std::string& reason) {
  const auto left = std::chrono::duration_cast<std::chrono::microseconds>(
      std::max(end - Clock::now(), Clock::duration::zero()));
  const timeval limit{static_cast<time_t>(left.count() / 1'000'000),
                      static_cast<suseconds_t>(left.count() % 1'000'000)};
  if (!IsSent(amqp_simple_wait_frame_noblock(state_, &frame, &limit), reason))
    return false;
  if (frame.frame_type != AMQP_FRAME_METHOD) return true;
  const std::string closing = ClosingText(frame.payload.method);
  if (closing.empty()) return true;
  reason = Utf8ToCp936(address_.Masked(closing));
  return false;
}

// The answer to one request says that those before it are done.
bool AmqpConnection::Synchronize(std::string& reason) {
  amqp_basic_qos(state_, kChannel, 0, 0, 0);
  const bool is_done = IsGood(amqp_get_rpc_reply(state_), reason);
  amqp_maybe_release_buffers(state_);
  return is_done;
}

AmqpConnection::Found AmqpConnection::FindQueue(const std::string& queue,
                                                unsigned long long& messages,
                                                std::string& reason) {
  const amqp_queue_declare_ok_t* const found = amqp_queue_declare(
      state_, kChannel, Borrowed(queue), 1, 0, 0, 0, amqp_empty_table);
  if (found != nullptr) {
    messages = found->message_count;
    amqp_maybe_release_buffers(state_);
    return Found::Yes;
  }
  const amqp_rpc_reply_t reply = amqp_get_rpc_reply(state_);
  // A queue that is there and cannot be reached has the same code.
  const bool is_missing =
      reply.reply_type == AMQP_RESPONSE_SERVER_EXCEPTION &&
      reply.reply.id == AMQP_CHANNEL_CLOSE_METHOD &&
      As<amqp_channel_close_t>(reply.reply).reply_code == AMQP_NOT_FOUND &&
      ClosingText(reply.reply).find("no queue") != std::string::npos;
  IsGood(reply, reason);
  return is_missing ? Found::No : Found::Failed;
}

bool AmqpConnection::CreateQueue(const std::string& queue,
                                 const std::string& label_utf8,
                                 std::string& reason) {
  amqp_table_entry_t label{};
  label.key = amqp_cstring_bytes("x-kiv-label");
  label.value.kind = AMQP_FIELD_KIND_UTF8;
  label.value.value.bytes = Borrowed(label_utf8);
  amqp_queue_declare(state_, kChannel, Borrowed(queue), 0, 1, 0, 0,
                     amqp_table_t{1, &label});
  return IsGood(amqp_get_rpc_reply(state_), reason);
}

bool AmqpConnection::DeleteQueue(const std::string& queue,
                                 std::string& reason) {
  amqp_queue_delete(state_, kChannel, Borrowed(queue), 0, 0);
  return IsGood(amqp_get_rpc_reply(state_), reason);
}

bool AmqpConnection::Purge(const std::string& queue,
                           unsigned long long& removed, std::string& reason) {
  const amqp_queue_purge_ok_t* const purged =
      amqp_queue_purge(state_, kChannel, Borrowed(queue));
  if (!IsGood(amqp_get_rpc_reply(state_), reason)) return false;
  removed = purged->message_count;
  amqp_maybe_release_buffers(state_);
  return true;
}

bool AmqpConnection::Publish(const std::string& queue,
                             const StoredMessage& message,
                             std::string& reason) {
  const AmqpProperties properties(message);
  // Mandatory: a message for a queue that is not there comes back.
  const int status =
      amqp_basic_publish(state_, kChannel, amqp_empty_bytes, Borrowed(queue), 1,
                         0, &properties.Get(), Borrowed(message.body));
  const bool is_stuck =
      (status == AMQP_STATUS_SOCKET_ERROR || status == AMQP_STATUS_SSL_ERROR) &&
      port::HasSocketTimedOut();
  if (!IsSent(status, reason)) {
    if (is_stuck)
      reason = "the broker has taken nothing for " +
               std::to_string(kUntakenSeconds) + " seconds";
    reason += kUnconfirmed;
    return false;
  }
  if (!WaitForConfirm(reason)) return false;
  amqp_maybe_release_buffers(state_);
  return true;
}

bool AmqpConnection::WaitForConfirm(std::string& reason) {
  const auto end = Clock::now() + std::chrono::seconds(kConfirmSeconds);
  bool is_returned = false;
  for (;;) {
    amqp_frame_t frame;
    if (!NextFrame(frame, end, reason)) {
      reason += kUnconfirmed;
      return false;
    }
    if (frame.frame_type != AMQP_FRAME_METHOD) continue;
    switch (frame.payload.method.id) {
      case AMQP_BASIC_RETURN_METHOD: {
        Delivery returned;
        if (!ReadContent(returned, reason)) return false;
        is_returned = true;
        break;
      }
      case AMQP_BASIC_ACK_METHOD:
        if (is_returned) reason = "there is no such queue";
        return !is_returned;
      case AMQP_BASIC_NACK_METHOD:
        reason = "the broker refused the message";
        return false;
      default:
        break;
    }
  }
}

MessageStore::Step AmqpConnection::Get(const std::string& queue,
                                       Delivery& delivery,
                                       std::string& reason) {
  const amqp_rpc_reply_t reply =
      amqp_basic_get(state_, kChannel, Borrowed(queue), 0);
  if (!IsGood(reply, reason)) return MessageStore::Step::Failed;
  if (reply.reply.id == AMQP_BASIC_GET_EMPTY_METHOD) {
    amqp_maybe_release_buffers(state_);
    return MessageStore::Step::Empty;
  }
  const auto& got = As<amqp_basic_get_ok_t>(reply.reply);
  delivery.tag = got.delivery_tag;
  delivery.is_redelivered = got.redelivered != 0;
  try {
    if (!ReadContent(delivery, reason)) return MessageStore::Step::Failed;
  } catch (const std::bad_alloc&) {
    // The rest of the message is still to come: the connection is of no use.
    reason = "there is no memory left";
    return MessageStore::Step::Failed;
  }
  amqp_maybe_release_buffers(state_);
  return MessageStore::Step::Message;
}

// A header and as many pieces of body as its size says.
bool AmqpConnection::ReadContent(Delivery& delivery, std::string& reason) {
  const auto end = Clock::now() + std::chrono::seconds(kConfirmSeconds);
  amqp_frame_t frame;
  if (!NextFrame(frame, end, reason)) return false;
  if (frame.frame_type != AMQP_FRAME_HEADER) {
    reason = "the broker sent something that is no message";
    return false;
  }
  const std::uint64_t size_bytes = frame.payload.properties.body_size;
  if (size_bytes > INT_MAX) {
    reason = "the message is too long";
    return false;
  }
  const auto& properties = *static_cast<const amqp_basic_properties_t*>(
      frame.payload.properties.decoded);
  ReadProperties(properties, delivery.message);
  delivery.is_ours = IsOurs(properties);
  std::string& body = delivery.message.body;
  body.reserve(size_bytes);
  while (body.size() < size_bytes) {
    if (!NextFrame(frame, end, reason)) return false;
    if (frame.frame_type != AMQP_FRAME_BODY) continue;
    const amqp_bytes_t& piece = frame.payload.body_fragment;
    body.append(static_cast<const char*>(piece.bytes), piece.len);
  }
  return true;
}

AmqpConnection::Acknowledged AmqpConnection::Acknowledge(std::uint64_t tag,
                                                         std::string& reason) {
  if (!IsSent(amqp_basic_ack(state_, kChannel, tag, 0), reason))
    return Acknowledged::NotSent;
  return Synchronize(reason) ? Acknowledged::Yes : Acknowledged::NotAnswered;
}

bool AmqpConnection::PutBack(std::uint64_t tag, std::string& reason) {
  return IsSent(amqp_basic_reject(state_, kChannel, tag, 1), reason) &&
         Synchronize(reason);
}

}  // namespace kiv::mq

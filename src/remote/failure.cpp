#include "remote/failure.h"

#include <Ice/Ice.h>

#include <exception>
#include <optional>
#include <utility>

#include "port/file.h"
#include "remote/wire_text.h"
#include "util/log_entry.h"

namespace kiv::remote {
namespace {

constexpr char kSource[] = "rmt";

struct Last {
  RemoteFailure code = RMT_DONE;
  std::string text;
};
thread_local Last last;

std::string ShownWire(const std::string& wire) { return Shown(FromWire(wire)); }

// "10 s", "1.5 s"
std::string Seconds(int timeout_ms) {
  std::string text = std::to_string(timeout_ms / 1000);
  if (int rest = timeout_ms % 1000; rest != 0) {
    std::string digits = std::to_string(1000 + rest).substr(1);
    digits.erase(digits.find_last_not_of('0') + 1);
    text += '.' + digits;
  }
  return text + " s";
}

// A server's account of its own exception is many lines long.
std::string FirstLine(const std::string& text) {
  return text.substr(0, text.find('\n'));
}

// "ClassName: reason" of exceptions that have no text for people.
std::string WithReason(const Ice::Exception& exception,
                       const std::string& reason) {
  std::string text = exception.ice_id();
  if (const std::size_t colon = text.rfind(':'); colon != std::string::npos)
    text.erase(0, colon + 1);
  return reason.empty() ? text : text + ": " + ShownWire(FirstLine(reason));
}

// These handlers say nothing of an exception that is not theirs. Their order,
// and that of the functions, is from the special to the general.
using MaybeCause = std::optional<Cause>;

MaybeCause OfConnection(int timeout_ms) {
  try {
    throw;
  } catch (const Ice::ConnectionRefusedException&) {
    return Cause{RMT_REFUSED, "connection refused"};
  } catch (const Ice::ConnectionLostException&) {
    return Cause{RMT_LOST, "the connection was lost before the answer came"};
  } catch (const Ice::SocketException& exception) {
    return Cause{RMT_UNREACHABLE, port::ErrorText(exception.error)};
  } catch (const Ice::DNSException& exception) {
    return Cause{RMT_UNREACHABLE,
                 "there is no host '" + ShownWire(exception.host) + "'"};
  } catch (const Ice::TimeoutException&) {
    return Cause{RMT_NO_ANSWER, "no answer in " + Seconds(timeout_ms)};
  } catch (const Ice::ConnectionManuallyClosedException&) {
    return Cause{RMT_DESTROYED, "the communicator was deleted"};
  } catch (const Ice::CommunicatorDestroyedException&) {
    return Cause{RMT_DESTROYED, "the communicator is deleted"};
  } catch (const Ice::SecurityException& exception) {
    return Cause{RMT_INSECURE,
                 "TLS: " + ShownWire(FirstLine(exception.reason))};
  } catch (...) {
    return std::nullopt;
  }
}

MaybeCause OfServer() {
  try {
    throw;
  } catch (const Ice::OperationNotExistException& exception) {
    return Cause{RMT_NO_OPERATION, "the server does not know the operation '" +
                                       ShownWire(exception.operation) + "'"};
  } catch (const Ice::RequestFailedException& exception) {
    return Cause{RMT_NO_OBJECT, "the server has no object '" +
                                    ShownWire(exception.id.name) + "'"};
  } catch (const Ice::UnknownException& exception) {
    return Cause{RMT_SERVER_FAILED,
                 "the server failed in the operation: " +
                     ShownWire(FirstLine(exception.unknown))};
  } catch (const Ice::MemoryLimitException&) {
    return Cause{RMT_TOO_LARGE,
                 "the message is larger than Ice.MessageSizeMax"};
  } catch (const Ice::CloseConnectionException&) {
    return Cause{RMT_LOST, "the server closed the connection"};
  } catch (const Ice::CompressionException& exception) {
    return Cause{RMT_OTHER, WithReason(exception, exception.reason)};
  } catch (const Ice::MarshalException& exception) {
    return Cause{RMT_OTHER, "the answer is not that of the operation: " +
                                WithReason(exception, exception.reason)};
  } catch (const Ice::UnsupportedProtocolException& exception) {
    return Cause{RMT_INCOMPATIBLE,
                 "the server speaks another version of Ice: " +
                     WithReason(exception, exception.reason)};
  } catch (const Ice::UnsupportedEncodingException& exception) {
    return Cause{RMT_INCOMPATIBLE,
                 "the server speaks another version of Ice: " +
                     WithReason(exception, exception.reason)};
  } catch (const Ice::ProtocolException& exception) {
    return Cause{RMT_NOT_ICE, "not an Ice server: " +
                                  WithReason(exception, exception.reason)};
  } catch (...) {
    return std::nullopt;
  }
}

MaybeCause OfProxy() {
  try {
    throw;
  } catch (const Ice::NoEndpointException& exception) {
    return Cause{
        RMT_BAD_PROXY,
        "no endpoint of '" + ShownWire(exception.proxy) + "' can be used"};
  } catch (const Ice::ProxyParseException& exception) {
    return Cause{RMT_BAD_PROXY, ShownWire(exception.str)};
  } catch (const Ice::EndpointParseException& exception) {
    // A kind that is not loaded reads as a misspelt one.
    const bool is_tls = exception.str.find("`ssl ") != std::string::npos;
    return Cause{
        RMT_BAD_PROXY,
        ShownWire(exception.str) +
            (is_tls ? " (TLS wants the property Ice.Plugin.IceSSL)" : "")};
  } catch (const Ice::IdentityParseException& exception) {
    return Cause{RMT_BAD_PROXY, ShownWire(exception.str)};
  } catch (...) {
    return std::nullopt;
  }
}

}  // namespace

Cause CurrentCause(int timeout_ms) {
  if (auto cause = OfConnection(timeout_ms)) return *cause;
  if (auto cause = OfServer()) return *cause;
  if (auto cause = OfProxy()) return *cause;
  try {
    throw;
  } catch (const Ice::FileException& exception) {
    return {RMT_OTHER, ShownWire(exception.path) + ": " +
                           port::ErrorText(exception.error)};
  } catch (const Ice::InitializationException& exception) {
    return {RMT_OTHER, ShownWire(FirstLine(exception.reason))};
  } catch (const Ice::PluginInitializationException& exception) {
    return {RMT_OTHER, ShownWire(FirstLine(exception.reason))};
  } catch (const Ice::Exception& exception) {
    return {RMT_OTHER, WithReason(exception, "")};
  } catch (const std::exception& exception) {
    return {RMT_OTHER, Shown(exception.what())};
  } catch (...) {
    return {RMT_OTHER, "an unknown exception"};
  }
}

void SetFailure(RemoteFailure code, std::string text) {
  last.code = code;
  last.text = std::move(text);
}

void SetDone() {
  last.code = RMT_DONE;
  last.text.clear();
}

void LogFailureAs(const std::string& log_text, RemoteFailure code,
                  std::string text) {
  LogError(kSource, log_text);
  SetFailure(code, std::move(text));
}

void LogFailure(const char* function, RemoteFailure code, std::string text) {
  const std::string log_text = std::string(function) + " Failed: " + text;
  LogFailureAs(log_text, code, std::move(text));
}

}  // namespace kiv::remote

int32_t rmt_last_error_code(void) { return kiv::remote::last.code; }

const char* rmt_last_error(void) { return kiv::remote::last.text.c_str(); }

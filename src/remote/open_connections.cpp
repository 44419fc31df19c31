#include "remote/open_connections.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "remote/handles.h"

namespace kiv::remote {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kPatience = std::chrono::seconds(1);
constexpr auto kPause = std::chrono::milliseconds(1);

bool IsOpen(const Ice::ConnectionPtr& connection) {
  try {
    connection->getInfo();
    return true;
  } catch (const Ice::Exception&) {
    return false;
  }
}

void CloseOne(const Ice::ConnectionPtr& connection, Ice::ConnectionClose how) {
  try {
    connection->close(how);
  } catch (const Ice::Exception&) {
    // It is closed then.
  }
}

}  // namespace

void OpenConnections::Add(const Ice::ConnectionPtr& connection) {
  std::erase_if(connections_, [](const auto& kept) { return !IsOpen(kept); });
  if (connection) connections_.insert(connection);
}

void OpenConnections::AddOf(RemoteProxyList& list) {
  const std::lock_guard lock(list.mutex);
  for (const auto& [key, proxy] : list.proxies) {
    try {
      Add(proxy.inner->ice_getCachedConnection());
    } catch (const Ice::Exception&) {
      // It has none.
    }
  }
}

void OpenConnections::Close() {
  for (const auto& connection : connections_)
    CloseOne(connection, Ice::ConnectionCloseGracefully);
  const auto end = Clock::now() + kPatience;
  while (std::any_of(connections_.begin(), connections_.end(), IsOpen) &&
         Clock::now() < end)
    std::this_thread::sleep_for(kPause);
  for (const auto& connection : connections_)
    CloseOne(connection, Ice::ConnectionCloseForcefully);
  connections_.clear();
}

void KeepToClose(const RemoteProxy& proxy) {
  // Ice still has the connection and gives it at once; where it is still making
  // one there is nothing to keep.
  constexpr int kGlanceMs = 50;
  try {
    const Ice::ConnectionPtr connection =
        proxy.inner->ice_invocationTimeout(kGlanceMs)->ice_getConnection();
    const std::lock_guard lock(FamilyMutex());
    if (RemoteCommunicator* const owner = proxy.parent->parent)
      owner->connections.Add(connection);
  } catch (const Ice::Exception&) {
    // There is none.
  }
}

server::ServiceBasePrx PatientProxy(const RemoteProxy& proxy) {
  const auto start = Clock::now();
  const Ice::ConnectionPtr connection = proxy.inner->ice_getConnection();
  if (connection->getACM().close != Ice::CloseOnIdle)
    connection->setACM(IceUtil::None, Ice::CloseOnIdle, IceUtil::None);
  const auto taken = std::chrono::duration_cast<std::chrono::milliseconds>(
      Clock::now() - start);
  return proxy.inner->ice_invocationTimeout(
      std::max(1, proxy.timeout_ms - static_cast<int>(taken.count())));
}

bool WantsPatience(const Ice::CommunicatorPtr& communicator, int timeout_ms) {
  constexpr int kDefaultSeconds = 60;
  const Ice::PropertiesPtr properties = communicator->getProperties();
  const int seconds = properties->getPropertyAsIntWithDefault(
      "Ice.ACM.Client.Timeout", properties->getPropertyAsIntWithDefault(
                                    "Ice.ACM.Timeout", kDefaultSeconds));
  return seconds > 0 && timeout_ms / 1000 >= seconds;
}

}  // namespace kiv::remote

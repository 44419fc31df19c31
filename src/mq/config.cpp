#include "kiv/mq/config.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <string>

#include "kiv/dom.h"
#include "kiv/file_system.h"
#include "kiv/mq/factory.h"
#include "mq/queue_config_access.h"
#include "mq/service_path.h"
#include "util/log_entry.h"

namespace kiv::mq {
namespace {

constexpr char kSource[] = "mq";
// At the end of the process and of a set nobody waits for a processor for long.
constexpr int kGoodbyeMs = 2000;

std::string Quoted(const FileSystemPath& path) {
  return "'" + Shown(path.string()) + "'";
}

}  // namespace

Config::Config(bool load) {
  if (!load) return;
  is_loaded_ = Load();
  if (!is_loaded_)
    LogError(kSource, "Config::Config Error: Load return failed");
}

Config::~Config() { Clear(); }

FileSystemPath Config::GetConfigPath() const {
  return ServicePath("conf/queue.xml");
}

bool Config::Load() {
  Clear();
  try {
    path_ = GetConfigPath();
    return LoadFile();
  } catch (const std::exception& fault) {
    LogError(kSource, "Config::Load Failed: " + Shown(fault.what()));
    return false;
  }
}

bool Config::LoadFile() {
  const std::string file = Quoted(path_);
  const std::string parsing = "parser config file " + file;
  if (!FileSystem::exists(path_) || FileSystem::is_directory(path_)) {
    LogInformation(kSource, "Config::Load Info: the config file " + file +
                                " can not found");
    return true;
  }
  DomParser parser;
  DomDocument document;
  if (!parser.parseURI(path_.native_file_string().c_str(), document)) {
    LogError(kSource, "Config::Load Failed: " + parsing + " failed");
    return false;
  }
  DomElement root;
  if (!document.GetDocumentElement(root)) {
    LogError(kSource, "Config::Load Failed: " + parsing +
                          " failed, can not found document element");
    return false;
  }
  DomElement queues;
  if (!root.GetFirstChildElement("queues", queues)) {
    LogInformation(kSource, "Config::Load Info: " + parsing +
                                " failed, can not found queues element");
    return true;
  }
  DomNodeList2 elements;
  if (!queues.ChildElementList(elements)) {
    LogInformation(kSource, "Config::Load Info: " + parsing +
                                " , can not found queue sub element");
    return true;
  }
  queues_.reserve(elements.GetLength());
  for (unsigned i = 0; i < elements.GetLength(); ++i) LoadQueue(elements, i);
  return true;
}

// One bad queue never stops the others.
void Config::LoadQueue(const DomNodeList2& elements, unsigned index) {
  const std::string file = Quoted(path_);
  const std::string queue = " " + std::to_string(index) + " queue failed";
  DomElement element;
  if (!elements.item(index, element)) {
    LogInformation(kSource,
                   "Config::Load Info: parser config file " + file + queue);
    return;
  }
  const auto config = Factory::CreateConfig(element);
  if (config == nullptr) {
    LogInformation(kSource,
                   "Config::Load Info: Config::CreateConfig " + file + queue);
    return;
  }
  const auto reader = Factory::LoadReader(element, config.get());
  if (reader == nullptr) {
    LogInformation(kSource, "Config::Load Info: LoadReader " + file + queue);
    return;
  }
  if (!QueueConfigAccess::Read(*config, element, reader)) {
    LogInformation(kSource,
                   "Config::Load Failed: parser config file " + file + queue);
    return;
  }
  queues_.push_back(config);
}

bool Config::StartListen() {
  bool is_all = true;
  for (const auto& queue : queues_) is_all = queue->StartListen() && is_all;
  return is_all;
}

bool Config::Stop(int wait_milliseconds) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::milliseconds(wait_milliseconds);
  for (const auto& queue : queues_) queue->Stop(0);
  bool is_all = true;
  for (const auto& queue : queues_) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    const int left_ms = std::max(static_cast<int>(left.count()), 0);
    if (queue->Stop(wait_milliseconds < 0 ? -1 : left_ms)) continue;
    is_all = false;
    LogError(kSource, "Config::Stop Failed: the processor of queue '" +
                          Shown(queue->Name()) +
                          "' is still at work; its reader ends after that "
                          "message");
  }
  return is_all;
}

void Config::Clear() {
  Stop(kGoodbyeMs);
  queues_.clear();
}

}  // namespace kiv::mq

#include "rmt/calls.h"

#include <cstdlib>
#include <memory>
#include <new>

#include "remote/calling.h"

namespace kiv::remote {

void LogCallFailure(const char* function, const RemoteProxy& proxy) {
  const Cause cause = CurrentCause(proxy.timeout_ms);
  LogFailure(function, cause.code, Place(proxy) + ": " + cause.text);
}

void RefuseNullProxy() { SetFailure(RMT_BAD_ARGUMENT, "there is no proxy"); }

namespace {

// The service's yes or no.
bool Answer(bool is_answered, bool answer) {
  if (is_answered && !answer)
    SetFailure(RMT_ANSWERED_NO, "the service answered no");
  return is_answered && answer;
}

void Fill(RemoteStringValue* value, const std::string& wire) {
  if (value == nullptr) return;
  std::size_t size = 0;
  char* const text = NewFromWire(wire, size);
  if (text == nullptr) throw std::bad_alloc();
  std::free(value->text);
  *value = {text, size};
}

struct ArrayDeleter {
  void operator()(char** array) const { rmt_delete_string_array(array); }
};

char** NewArray(const ::kiv::server::StringSeq& texts) {
  std::unique_ptr<char*, ArrayDeleter> array(
      rmt_new_string_array(texts.size()));
  if (array == nullptr) throw std::bad_alloc();
  char** slot = array.get();
  for (const std::string& text : texts) {
    std::size_t size = 0;
    if ((*slot++ = NewFromWire(text, size)) == nullptr) throw std::bad_alloc();
  }
  return array.release();
}

using Query = bool (*)(Service& service, const char* solution,
                       const char* project, Ice::Int& id);

bool QueryId(const char* function, RemoteProxy* proxy, const char* solution,
             const char* project, int32_t* project_id, Query query) {
  bool answer = false;
  Ice::Int id = 0;
  const bool is_answered = Call(function, proxy, [&](Service& service) {
    answer = query(service, solution, project, id);
  });
  if (!Answer(is_answered, answer)) return false;
  if (project_id != nullptr) *project_id = id;
  return true;
}

}  // namespace
}  // namespace kiv::remote

using namespace kiv::remote;  // NOLINT(google-build-using-namespace)

bool rmt_ping(RemoteProxy* proxy) {
  return Call("rmt_ping", proxy, [](Service& service) { service.ice_ping(); });
}

int32_t rmt_max_message_size(RemoteProxy* proxy) {
  int32_t size = 0;
  Call("rmt_max_message_size", proxy,
       [&](Service& service) { size = service.MaxMessageSize(); });
  return size;
}

bool rmt_reload_config(RemoteProxy* proxy) {
  bool answer = false;
  return Answer(
      Call("rmt_reload_config", proxy,
           [&](Service& service) { answer = service.ReloadConfig(); }),
      answer);
}

bool rmt_get_version(RemoteProxy* proxy, RemoteStringValue* name,
                     RemoteStringValue* label, int32_t* major_number,
                     int32_t* minor_number, int32_t* revision) {
  return Call("rmt_get_version", proxy, [&](Service& service) {
    ::kiv::server::VersionInfo info;
    service.GetVersionInfo(info);
    Fill(name, info.name);
    Fill(label, info.label);
    if (major_number != nullptr) *major_number = info.major;
    if (minor_number != nullptr) *minor_number = info.minor;
    if (revision != nullptr) *revision = info.revision;
  });
}

bool rmt_is_version_compatible(RemoteProxy* proxy, int32_t major_number,
                               int32_t minor_number, int32_t revision) {
  bool answer = false;
  return Answer(Call("rmt_is_version_compatible", proxy,
                     [&](Service& service) {
                       answer = service.IsVersionCompatible(
                           major_number, minor_number, revision);
                     }),
                answer);
}

char** rmt_get_solutions2(RemoteProxy* proxy) {
  char** array = nullptr;
  Call("rmt_get_solutions2", proxy, [&](Service& service) {
    ::kiv::server::StringSeq solutions;
    service.GetSolutions(solutions);
    array = NewArray(solutions);
  });
  return array;
}

char** rmt_get_projects2(RemoteProxy* proxy, const char* solution) {
  char** array = nullptr;
  Call("rmt_get_projects2", proxy, [&](Service& service) {
    ::kiv::server::StringSeq projects;
    service.GetProjects(ToWire(solution), projects);
    array = NewArray(projects);
  });
  return array;
}

bool rmt_send_command(RemoteProxy* proxy, const char* command,
                      RemoteStringValue* reply) {
  bool answer = false;
  return Answer(Call("rmt_send_command", proxy,
                     [&](Service& service) {
                       std::string text;
                       answer = service.SendCommand(ToWire(command), text);
                       Fill(reply, text);
                     }),
                answer);
}

bool rmt_query_project_id(RemoteProxy* proxy, const char* project,
                          int32_t* project_id) {
  return QueryId(
      "rmt_query_project_id", proxy, nullptr, project, project_id,
      [](Service& service, const char*, const char* name, Ice::Int& id) {
        return service.GetProjectID(ToWire(name), id);
      });
}

bool rmt_query_project_id2(RemoteProxy* proxy, const char* project,
                           int32_t* project_id) {
  return QueryId(
      "rmt_query_project_id2", proxy, nullptr, project, project_id,
      [](Service& service, const char*, const char* name, Ice::Int& id) {
        return service.GetProjectId2(ToWire(name), id);
      });
}

bool rmt_query_project_id3(RemoteProxy* proxy, const char* solution,
                           const char* project, int32_t* project_id) {
  return QueryId(
      "rmt_query_project_id3", proxy, solution, project, project_id,
      [](Service& service, const char* in, const char* name, Ice::Int& id) {
        return service.GetProjectId3(ToWire(in), ToWire(name), id);
      });
}

bool rmt_shutdown(RemoteProxy* proxy) {
  return Call("rmt_shutdown", proxy,
              [](Service& service) { service.shutdown(); });
}

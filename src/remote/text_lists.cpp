// The operations that answer with a list of texts.
#include <memory>
#include <new>

#include <Ice/Ice.h>

#include "remote/calling.h"
#include "rmt/calls.h"

namespace kiv::remote {
namespace {

struct ArrayDeleter {
  void operator()(char** array) const { rmt_delete_string_array(array); }
};

char** TakeTexts(const Service& service, const Ice::ByteSeq& reply) {
  Ice::InputStream stream(service.ice_getCommunicator(),
                          service.ice_getEncodingVersion(), reply);
  stream.startEncapsulation();
  const auto count = static_cast<std::size_t>(stream.readAndCheckSeqSize(1));
  std::unique_ptr<char*, ArrayDeleter> array(rmt_new_string_array(count));
  if (array == nullptr) throw std::bad_alloc();
  for (std::size_t i = 0; i < count; ++i) {
    const char* text = nullptr;
    std::size_t size = 0;
    stream.read(text, size);
    array.get()[i] = NewFromWire({text, size}, size);
    if (array.get()[i] == nullptr) throw std::bad_alloc();
  }
  stream.endEncapsulation();
  return array.release();
}

// The reply's bytes become the array: by way of the generated operation and its
// sequence, each text would be allocated twice.
char** AskForTexts(const char* function, const RemoteProxy* proxy,
                   const char* operation, const char* parameter = nullptr) {
  char** array = nullptr;
  Call(function, proxy, [&](Service& service) {
    Ice::ByteSeq request;
    if (parameter != nullptr) {
      Ice::OutputStream stream(service.ice_getCommunicator(),
                               service.ice_getEncodingVersion());
      stream.startEncapsulation();
      stream.write(ToWire(parameter));
      stream.endEncapsulation();
      stream.finished(request);
    }
    Ice::ByteSeq reply;
    if (!service.ice_invoke(operation, Ice::Normal, request, reply))
      throw Ice::UnknownUserException(__FILE__, __LINE__);
    array = TakeTexts(service, reply);
  });
  return array;
}

}  // namespace
}  // namespace kiv::remote

using kiv::remote::AskForTexts;

char** rmt_get_solutions2(RemoteProxy* proxy) {
  return AskForTexts("rmt_get_solutions2", proxy, "GetSolutions");
}

char** rmt_get_projects2(RemoteProxy* proxy, const char* solution) {
  return AskForTexts("rmt_get_projects2", proxy, "GetProjects",
                     solution == nullptr ? "" : solution);
}

#ifndef REMOTE_FLAT_TREE_STREAM_H_
#define REMOTE_FLAT_TREE_STREAM_H_

#include <Ice/LocalException.h>
#include <Ice/StreamHelpers.h>

// FlatTree is passed by no operation and never was given a stream format: both
// directions are refused. These take the place of what slice2cpp generates, for
// which they must be seen before it.
namespace kiv::server {

class FlatTree;

[[noreturn]] inline void RefuseFlatTree() {
  throw Ice::MarshalException(
      __FILE__, __LINE__,
      "type kiv::server::FlatTree was not generated with stream support");
}

}  // namespace kiv::server

namespace Ice {

class OutputStream;
class InputStream;

template <>
struct StreamWriter<kiv::server::FlatTree, OutputStream> {
  static void write(OutputStream* /*stream*/,
                    const kiv::server::FlatTree& /*tree*/) {
    kiv::server::RefuseFlatTree();
  }
};

template <>
struct StreamReader<kiv::server::FlatTree, InputStream> {
  static void read(InputStream* /*stream*/, kiv::server::FlatTree& /*tree*/) {
    kiv::server::RefuseFlatTree();
  }
};

}  // namespace Ice

#endif  // REMOTE_FLAT_TREE_STREAM_H_

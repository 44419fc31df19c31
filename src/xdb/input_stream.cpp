#include "xdb/input_stream.h"

#include "kiv/dom_parser.h"
#include "port/file.h"
#include "port/read_file.h"
#include "util/log_entry.h"
#include "xdb/container/store_error.h"

namespace kiv::xdb {
namespace {

[[noreturn]] void Refuse(const std::string& path, const std::string& reason) {
  throw StoreError(Failure::Other, "'" + Shown(path) + "': " + reason);
}

class LocalFile final : public InputStream {
 public:
  explicit LocalFile(std::string native_path) : path_(std::move(native_path)) {}

  std::string ReadAll() const override {
    std::string content;
    switch (port::ReadFileText(path_, DomParser::MaxBytes(), content)) {
      case port::FileRead::Whole:
        break;
      case port::FileRead::Failed:
        Refuse(path_, port::ErrorText(port::LastError()));
      case port::FileRead::NotRegular:
        Refuse(path_, "this is no regular file");
      case port::FileRead::TooLarge:
        Refuse(path_, "the file has more than " +
                          std::to_string(DomParser::MaxBytes()) + " bytes");
    }
    return content;
  }

 private:
  const std::string path_;
};

}  // namespace

std::unique_ptr<InputStream> OpenLocalFile(const std::string& native_path) {
  port::FileAttributes attributes;
  if (!port::GetFileAttributesA(native_path, attributes))
    Refuse(native_path, port::ErrorText(port::LastError()));
  if (attributes.is_directory) Refuse(native_path, "this is a folder");
  return std::make_unique<LocalFile>(native_path);
}

}  // namespace kiv::xdb

#ifndef KIV_DOM_PARSER_H_
#define KIV_DOM_PARSER_H_

#include <cstddef>
#include <memory>
#include <string>

#include "kiv/dom_document.h"
#include "kiv/export.h"

namespace kiv {

// Why a document was refused. Line and column count from 1; both are 0 where
// the fault has no place, as for a file that cannot be read. The reason is in
// the local encoding.
struct ParseFault {
  unsigned long long line = 0;
  unsigned long long column = 0;
  std::string reason;
};

// Reads documents, and owns them.
//
// Refused: what is not well-formed, a document type declaration and with it
// every entity of its own, more levels than MaxDepth(), more bytes than
// MaxBytes(). Nothing but the document itself is ever opened. A refusal is
// false and a log entry with line, column and reason; errors and warnings of a
// document that is well-formed are logged and leave it as it is.
class KIV_API DomParser {
 public:
  DomParser();
  virtual ~DomParser();
  DomParser(const DomParser&) = delete;
  DomParser& operator=(const DomParser&) = delete;

  // Whether a file was parsed since construction or release().
  bool IsValid() const;
  // Frees both documents.
  void release();

  // A path that begins with "." is resolved against the current directory as
  // toFullPath does. The document replaces that of the last parseURI. On
  // failure `doc` becomes invalid; for an empty path it stays as it is.
  bool parseURI(const char* path, DomDocument& doc);
  // The buffer is not kept. The document replaces that of the last parseMem. On
  // failure `doc` becomes invalid.
  bool parseMem(const char* buffer, unsigned length, DomDocument& doc);

  // Of the last parse; without a reason when that gave a document.
  const ParseFault& LastFault() const;

  // The limits of every document, 1,000 levels and 64 MiB at first. For a
  // program that knows its documents; set before parsers run on other threads.
  // A depth beyond 10,000 counts as that: what walks a tree needs stack for
  // every level.
  static unsigned MaxDepth();
  static void SetMaxDepth(unsigned levels);
  static std::size_t MaxBytes();
  static void SetMaxBytes(std::size_t bytes);

 protected:
  // Does nothing when there is a builder. Ends the process when there can be
  // none, because GlobalInit was not called.
  void Initialize(bool namespaces, bool schema, bool schemaFullChecking);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace kiv

#endif  // KIV_DOM_PARSER_H_

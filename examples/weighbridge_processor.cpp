// A processor library: takes one line of a weighbridge, "scale,day,hour,minute,
// second,kilograms,plate", and appends a record to ../out/records.xml.
//
// queue.xml names it as processor="dll://../lib/weighbridge_processor:Weigh".
#include <cstdint>
#include <mutex>
#include <string>

#include "kiv/dom.h"
#include "kiv/file_system.h"
#include "kiv/parser/parser.h"

namespace {

using kiv::parser::Parser;

constexpr const char* kRecordFile = "../out/records.xml";

struct Weighing {
  std::string scale;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int kilograms = 0;
  std::string plate;
};

bool TakeComma(const char*& at, const char* end) {
  if (at == end || *at != ',') return false;
  ++at;
  return true;
}

// A field that holds no number is a fault here, though the reader would accept
// it and give the default.
bool TakeNumber(const char*& at, const char* end, int& out) {
  constexpr std::int32_t kNoNumber = -1;
  std::int32_t number = kNoNumber;
  unsigned consumed = 0;
  if (!Parser::ParseInt32(at, end, number, consumed, kNoNumber, 0)) {
    return false;
  }
  at += consumed;
  out = number;
  return number >= 0 && TakeComma(at, end);
}

bool Read(const char* at, const char* end, Weighing& out) {
  unsigned consumed = 0;
  if (!Parser::ParseTo(at, end, ',', out.scale, consumed)) return false;
  at += consumed;
  if (out.scale.empty() || !TakeComma(at, end)) return false;
  if (!TakeNumber(at, end, out.day) || !TakeNumber(at, end, out.hour) ||
      !TakeNumber(at, end, out.minute) || !TakeNumber(at, end, out.second) ||
      !TakeNumber(at, end, out.kilograms)) {
    return false;
  }
  out.plate.assign(at, end);
  return !out.plate.empty();
}

// Every queue calls from its own thread, and all of them write to one file.
std::mutex record_file_mutex;

bool Append(const Weighing& weighing) {
  const std::lock_guard lock(record_file_mutex);
  kiv::DomParser parser;
  kiv::DomDocument document;
  kiv::DomElement records;
  const bool is_there =
      kiv::FileSystem::is_file(kiv::FileSystemPath(kRecordFile));
  const bool is_open =
      is_there ? parser.parseURI(kRecordFile, document) &&
                     document.GetDocumentElement(records)
               : kiv::DomDocument::CreateDocument(document) &&
                     document.CreateDocumentElement("records", records);
  kiv::DomElement record;
  if (!is_open || !records.CreateElement("record", record)) return false;
  record.SetAttribute("scale", weighing.scale.c_str());
  record.SetAttribute("day", weighing.day);
  record.SetAttribute("hour", weighing.hour);
  record.SetAttribute("minute", weighing.minute);
  record.SetAttribute("second", weighing.second);
  record.SetAttribute("kilograms", weighing.kilograms);
  record.SetTextContent(weighing.plate.c_str());
  return document.SaveAs(kRecordFile);
}

}  // namespace

// The bytes need not end with a NUL. False refuses the message.
extern "C" __attribute__((visibility("default"))) bool Weigh(
    const char* bytes, int length, void* /*context*/) {
  Weighing weighing;
  return Read(bytes, bytes + length, weighing) && Append(weighing);
}

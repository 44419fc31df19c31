// Uses something of every layer, and says what it found.
#include <dm/dm.h>
#include <kiv/date_time.h>
#include <kiv/dom.h>
#include <kiv/mq/factory.h>
#include <kiv/nt_service.h>
#include <kiv/startup.h>

#include <cstdio>
#include <string>

int main() {
  kiv::GlobalInit();
  kiv::DomParser parser;
  kiv::DomDocument document;
  kiv::DomElement root;
  const std::string text = "<orders count='3'/>";
  const bool is_read =
      parser.parseMem(text.data(), static_cast<unsigned>(text.size()),
                      document) &&
      document.GetDocumentElement(root);
  const int count = is_read ? root.AttributeInt("count", 0) : 0;
  auto action = kiv::NTService::Action::Run;
  const bool is_switch = kiv::NTService::ReadSwitch("-install", action);
  const int year = kiv::DateTime(2026, 11, 21, 0, 0, 0, 0).Year();
  std::printf("%d %s %d %d\n", count, kiv::mq::Factory::T_COM, year, is_switch);
  kiv::GlobalUninit();
  return count == 3 && is_switch && year == 2026 ? 0 : 1;
}

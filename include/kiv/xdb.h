#ifndef KIV_XDB_H_
#define KIV_XDB_H_

#include "kiv/xdb_container.h"
#include "kiv/xdb_document.h"
#include "kiv/xdb_manager.h"
#include "kiv/xdb_query.h"
#include "kiv/xdb_statistics.h"
#include "kiv/xdb_transaction.h"
#include "kiv/xdb_value.h"

// A store of XML documents in a folder. All classes need GlobalInit.
//
//   kiv::XDbManager manager;
//   kiv::XDbContainer orders;
//   if (!manager.Open("../db", 0x0C, nullptr, nullptr)) return false;
//   if (!manager.CreateContainer("orders", orders, 0x0C)) return false;
//   std::string name = "4711";
//   orders.put("<order no='4711'/>", name);
//
// Names, queries and values are narrow text in the local encoding; one that
// holds bytes that are no character is refused. A document's content is bytes
// in the encoding that it declares, UTF-8 where it declares none.
//
// A failure is false, or an empty result, and a log entry under "dbxml" whose
// end says why; XDbManager::LastError() has it too. Nothing throws but where it
// is said. Out-parameters stay as they were when an operation fails.
//
// Objects may be released in any order: what was handed out keeps what it
// needs, and an environment closes when the last of them that uses it is gone.
//
// Threads: a manager and its containers may be used by several threads when the
// manager was opened with 0x04, and the container too. The other objects belong
// to one thread at a time; but one XDbQueryExpression may be executed by
// several, each with a context of its own.

#endif  // KIV_XDB_H_

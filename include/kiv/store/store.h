#ifndef KIV_STORE_STORE_H_
#define KIV_STORE_STORE_H_

// The record store: tables of a database or an XML database behind one set of
// classes. docs/store.md tells how they go together.

// IWYU pragma: begin_exports
#include "kiv/store/ado_column.h"
#include "kiv/store/ado_connection.h"
#include "kiv/store/ado_recordset.h"
#include "kiv/store/ado_table.h"
#include "kiv/store/column.h"
#include "kiv/store/connection.h"
#include "kiv/store/db_xml.h"
#include "kiv/store/factory.h"
#include "kiv/store/recordset.h"
#include "kiv/store/rows.h"
#include "kiv/store/table.h"
#include "kiv/store/transaction.h"
#include "kiv/store/variant.h"
// IWYU pragma: end_exports

#endif  // KIV_STORE_STORE_H_

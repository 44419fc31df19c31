#ifndef KIV_STORE_DB_XML_H_
#define KIV_STORE_DB_XML_H_

#include <memory>
#include <string>
#include <vector>

#include "kiv/export.h"
#include "kiv/store/connection.h"
#include "kiv/xdb_container.h"
#include "kiv/xdb_manager.h"
#include "kiv/xdb_transaction.h"

// The XML database as a record store: a connection is an environment with
// threads and transactions, a table a container. Columns are not kept, and
// instead of rows there are documents: GetContainer gives them.
namespace kiv::store {

class DbXmlTable;

class KIV_API DbXmlConnection : public Connection {
 public:
  explicit DbXmlConnection(const std::string& directory);
  DbXmlConnection(const DbXmlConnection&) = delete;
  DbXmlConnection& operator=(const DbXmlConnection&) = delete;

  bool Open(const std::string& a, const std::string& b) override;
  // As Open, which makes what is missing.
  bool Create(const std::string& a, const std::string& b) override;
  bool IsExistTable(const std::string& name) override;
  std::shared_ptr<Table> GetTable(const std::string& name) override;
  std::shared_ptr<Table> CreateTable(const std::string& name) override;
  // True also when there is none.
  bool DeleteTable(const std::string& name) override;
  std::shared_ptr<Transaction> BeginTransaction() override;

 protected:
  virtual std::shared_ptr<DbXmlTable> CreateTableInstance();

 public:
  virtual ~DbXmlConnection();

  // For documents and queries.
  XDbManager& GetManager() { return manager_; }

 private:
  XDbManager manager_;
  std::string directory_;
};

// Knows nothing of any column.
class KIV_API DbXmlColumn final : public Column {
 public:
  std::string GetName() const override;
  bool SetName(const std::string& name) override;
  dm::ObjectPtr<int*> GetType() const override;
  long GetDefinedSize() const override;
  bool SetDefinedSize(long size) override;
  long GetPrecision() const override;
  bool SetPrecision(long precision) override;
  long GetNumericScale() const override;
  bool SetNumericScale(long scale) override;
  std::string GetRelatedColumn() const override;
  bool SetRelatedColumn(const std::string& name) override;
  long GetSortOrder() const override;
  bool SetSortOrder(long order) override;
  long GetAttributes() const override;
  bool SetAttributes(long attributes) override;
  void* Handle() const override;
};

// Its connection outlives it.
class KIV_API DbXmlTable : public Table {
 public:
  explicit DbXmlTable(DbXmlConnection* connection);
  DbXmlTable(const DbXmlTable&) = delete;
  DbXmlTable& operator=(const DbXmlTable&) = delete;

  bool CompleteCreate() override;
  std::string GetName() override;
  std::shared_ptr<Column> GetColumn(const std::string& name) override;
  std::shared_ptr<Column> GetColumn(long index) override;
  // Looks at the arguments and keeps nothing.
  bool CreateColumn(const std::string& name, const dm::ObjectPtr<int*>& type,
                    long length) override;
  bool ReservedCreateColumn(dm::ObjectPtr<int*> column) override;
  bool DeleteColumn(const std::string& name) override;
  long GetColumnCount() override;
  std::shared_ptr<Recordset> OpenRecordset() override;
  std::string ReservedText(std::uintptr_t first,
                           std::uintptr_t second) override;
  std::string ColumnList(const std::vector<long>& columns,
                         const std::vector<std::string>& others) override;
  bool ReservedRow(std::string key, std::uintptr_t argument) override;
  bool ReservedRows(std::string key, std::uintptr_t argument) override;
  bool ReservedKey(std::string key, std::uintptr_t argument) override;

 protected:
  virtual std::shared_ptr<DbXmlColumn> CreateColumnInstance();
  virtual std::shared_ptr<Recordset> CreateRecordsetInstance(void* recordset);

 public:
  virtual ~DbXmlTable();

  // The documents.
  XDbContainer& GetContainer() { return container_; }

 private:
  friend class DbXmlConnection;
  // Opens the container.
  bool GetTable(const std::string& name);
  // Makes the container.
  bool SetName(const std::string& name);

  DbXmlConnection* connection_;
  XDbContainer container_;
};

class KIV_API DbXmlTransaction final : public Transaction {
 public:
  explicit DbXmlTransaction(DbXmlConnection* connection);
  DbXmlTransaction(const DbXmlTransaction&) = delete;
  DbXmlTransaction& operator=(const DbXmlTransaction&) = delete;
  ~DbXmlTransaction();

  bool Commit() override;
  bool Rollback() override;

  // For update contexts.
  XDbTransaction& GetTransaction() { return transaction_; }

 private:
  friend class DbXmlConnection;
  bool Begin();

  DbXmlConnection* connection_;
  XDbTransaction transaction_;
};

}  // namespace kiv::store

#endif  // KIV_STORE_DB_XML_H_

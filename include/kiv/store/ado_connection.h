#ifndef KIV_STORE_ADO_CONNECTION_H_
#define KIV_STORE_ADO_CONNECTION_H_

#include <memory>
#include <string>
#include <vector>

#include "kiv/export.h"
#include "kiv/store/connection.h"

namespace kiv::store {

namespace ado {
class Connection;
}

class AdoTable;

// A database. What stands behind each dbms and Provider: docs/store.md.
class KIV_API AdoConnection : public Connection {
 public:
  // From what follows the protocol: dbms ":" text. Empty, and logged, when it
  // is no such thing.
  static std::shared_ptr<Connection> CreateConnection(const std::string& body);
  // The dbms that the Provider of a connection text stands for. False, and
  // logged, when there is none; `dbms` may have been changed by then.
  static bool ParseDbms(const std::string& adoString, std::string& dbms);

  explicit AdoConnection(const std::string& adoString);
  AdoConnection(const AdoConnection&) = delete;
  AdoConnection& operator=(const AdoConnection&) = delete;

  bool Open(const std::string& a, const std::string& b) override;
  bool Create(const std::string& a, const std::string& b) override;
  bool IsExistTable(const std::string& name) override;
  std::shared_ptr<Table> GetTable(const std::string& name) override;
  std::shared_ptr<Table> CreateTable(const std::string& name) override;
  bool DeleteTable(const std::string& name) override;
  std::shared_ptr<Transaction> BeginTransaction() override;

 protected:
  // Unattached, on this connection.
  virtual std::shared_ptr<AdoTable> CreateTableInstance();

 public:
  virtual ~AdoConnection();

  // Every table of users, in the order of the database.
  bool TableNames(std::vector<std::string>& names);

  // For the library.
  const std::shared_ptr<ado::Connection>& Inner() const { return inner_; }

 private:
  std::string ado_string_;
  std::shared_ptr<ado::Connection> inner_;
};

class KIV_API AccessAdoConnection final : public AdoConnection {
 public:
  using AdoConnection::AdoConnection;

 protected:
  std::shared_ptr<AdoTable> CreateTableInstance() override;
};

class KIV_API MsSqlAdoConnection final : public AdoConnection {
 public:
  using AdoConnection::AdoConnection;

 protected:
  std::shared_ptr<AdoTable> CreateTableInstance() override;
};

class KIV_API AdoTransaction final : public Transaction {
 public:
  // Of a connection that has just begun one.
  explicit AdoTransaction(std::shared_ptr<ado::Connection> connection);
  AdoTransaction(const AdoTransaction&) = delete;
  AdoTransaction& operator=(const AdoTransaction&) = delete;
  ~AdoTransaction();

  bool Commit() override;
  bool Rollback() override;

 private:
  ado::Connection& Connection() const;

  std::shared_ptr<ado::Connection> connection_;
  bool has_ended_ = false;
};

}  // namespace kiv::store

#endif  // KIV_STORE_ADO_CONNECTION_H_

#ifndef KIV_STORE_CONNECTION_H_
#define KIV_STORE_CONNECTION_H_

#include <memory>
#include <string>

#include "kiv/export.h"
#include "kiv/store/table.h"
#include "kiv/store/transaction.h"

namespace kiv::store {

// A store of tables. Made closed by Factory::CreateConnection; nothing but
// Open, Create and OpenOrCreate works before one of them has succeeded.
//
// Everything a store hands out is empty on failure, which is logged, and keeps
// what made it alive as long as it needs it. Nothing throws. One thread at a
// time for a connection and all that comes from it.
//
// Like all classes of the store this one has no virtual destructor: make an
// object into a shared pointer of its own class.
class KIV_API Connection {
 public:
  Connection() = default;
  Connection(const Connection&) {}
  Connection& operator=(const Connection&) { return *this; }

  // Opens an existing store. Of a database `a` is the user and `b` the password
  // ("" for what the connection text says, or nobody); of an XML database they
  // are the two halves of the password.
  virtual bool Open(const std::string& a, const std::string& b) = 0;
  // Makes a new store and opens it.
  virtual bool Create(const std::string& a, const std::string& b) = 0;
  virtual bool IsExistTable(const std::string& name) = 0;
  // Empty, and logged, also when there is no such table.
  virtual std::shared_ptr<Table> GetTable(const std::string& name) = 0;
  // Of a database the table is real only after its columns have been made and
  // Table::CompleteCreate has been called.
  virtual std::shared_ptr<Table> CreateTable(const std::string& name) = 0;
  virtual bool DeleteTable(const std::string& name) = 0;
  virtual std::shared_ptr<Transaction> BeginTransaction() = 0;

  // Create is called only when Open fails.
  bool OpenOrCreate(const std::string& a, const std::string& b);

 protected:
  ~Connection() = default;
};

}  // namespace kiv::store

#endif  // KIV_STORE_CONNECTION_H_

#ifndef KIV_XDB_MANAGER_H_
#define KIV_XDB_MANAGER_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kiv/export.h"
#include "kiv/xdb_statistics.h"

namespace kiv {

class XDbContainer;
class XDbDocument;
class XDbInputStream;
class XDbQueryContext;
class XDbQueryExpression;
class XDbResults;
class XDbTransaction;
class XDbUpdateContext;

namespace xdb {
class Environment;
class PreparedQueries;
class Session;
struct XDbAccess;
}  // namespace xdb

// One environment, a folder with a cache, locks and log files, and the
// containers in it.
class KIV_API XDbManager {
 public:
  // Bits of Open's flags; other bits are ignored.
  static constexpr long THREAD = 0x04;
  static constexpr long TRANSACTION = 0x08;  // and locking
  static constexpr long LOG = 0x10;
  static constexpr long LOCK = 0x20;
  static constexpr long AUTO_OPEN = 0x40;        // queries open containers
  static constexpr long EXTERNAL_ACCESS = 0x80;  // queries read other files

  // Bits of OpenContainer's flags, beside THREAD and TRANSACTION. What the
  // environment does not offer is left out silently.
  static constexpr long ENCRYPT = 0x002;
  static constexpr long CREATE = 0x100;

  XDbManager();
  ~XDbManager();
  XDbManager(const XDbManager&) = delete;
  XDbManager& operator=(const XDbManager&) = delete;

  // Makes the folder when it is missing; null or empty is the current one. A
  // non-empty key1 + key2 is the password of an encrypted environment. The
  // first process to open it puts right what a crash left behind, and what
  // cannot be opened then goes through a repair. An open manager is closed
  // first.
  bool Open(const char* home, long flags, const char* key1, const char* key2);
  // The environment closes at once, or with the last container, transaction or
  // result that is still held.
  void Close();

  // Of the live environment; false when closed.
  bool IsEnableThread() const;
  bool IsEnableTransaction() const;
  bool IsEnableEncrypt() const;

  // In the system's form; "" when closed.
  std::string GetEnvPath() const;
  // The full path, with "/"; the current folder for null and empty.
  static std::string TransPath(const char* path);

  // The file of a container, in the system's form: ".xdb" behind the name, and
  // a last component beyond plain English as "0x" and its bytes in hexadecimal.
  // False for a name that is empty or begins with 0x or 0X.
  static bool CheckDbName(const char* name, std::string& fileName);
  // "" for an empty name, and, logged, for one that is refused.
  std::string GetContainerPath(const char* name) const;
  bool IsExistContainer(const char* name) const;

  // False, without a message, for an empty name and when closed.
  bool OpenContainer(const char* name, XDbContainer& out, long flags);
  // The same with CREATE; opens what is there already.
  bool CreateContainer(const char* name, XDbContainer& out, long flags);
  // True also when there is none.
  bool RemoveContainer(const char* name);
  // Replaces a container of the new name.
  bool RenameContainer(const char* oldName, const char* newName);

  bool CreateUpdateContext(XDbUpdateContext& out) const;
  bool CreateTransaction(XDbTransaction& out) const;
  bool CreateQueryContext(XDbQueryContext& out) const;
  bool CreateDocument(XDbDocument& out) const;
  // False for a null or empty name and, logged, for a file that is missing or
  // no regular one.
  bool CreateLocalFileInputStream(const char* fileName,
                                  XDbInputStream& out) const;

  // collection('name') and collection('name')/*
  static std::string XPathCollection(const std::string& name);
  static std::string XPathQueryAll(const std::string& name);

  // Empty, or false, on failure and for an empty query. With `cache` the same
  // text gives the same expression for as long as the manager stays open,
  // whatever the context; the cache keeps every text until the manager is
  // destroyed.
  std::shared_ptr<XDbQueryExpression> Prepare(const std::string& query,
                                              XDbQueryContext& context,
                                              bool cache);
  bool Prepare(const std::string& query, XDbQueryContext& context,
               XDbQueryExpression& out, bool cache);
  // Prepare and execute.
  bool Query(const std::string& query, XDbQueryContext& context,
             XDbResults& results, bool cache);
  bool Query(const std::string& query, XDbResults& results, bool cache);

  // Borrowed: lives until the manager is closed. Null when closed.
  void* inner_mnr() const;

  // Every container below the environment's folder, by name.
  bool GetContainerNames(std::vector<std::string>& names) const;
  // The documents that can still be read of a container, sound or damaged.
  bool Salvage(const char* name,
               const std::function<void(const std::string& document,
                                        const std::string& content)>& each);
  // Writes what is only in the log files into the containers. The next start
  // after a crash is quicker, and older log files become unneeded.
  bool Checkpoint();
  // Full paths, in the system's form, of the log files that no start needs any
  // more. A backup from before may need them.
  bool GetUnneededLogFiles(std::vector<std::string>& files) const;
  bool GetStatistics(XDbEnvironmentStatistics& out) const;
  // Recovery by hand, while nobody has the environment open. The catastrophic
  // one reads all log files there are: for containers restored from a backup.
  static bool Repair(const char* home, const char* key1, const char* key2,
                     bool is_catastrophic);

  // What the XDb classes logged last on this thread.
  static std::string LastError();
  // Whether that was a lock that others held or wanted: abort the transaction
  // and make it again.
  static bool IsWorthRetrying();

 protected:
  // NOLINTNEXTLINE(bugprone-reserved-identifier): the published name
  bool _Open(const char* home, bool envThread, bool lock, bool log, bool txn,
             bool mnrThread, bool externalAccess, bool autoOpen,
             const char* key1, const char* key2);
  bool ConstructEnv(bool thread, bool lock, bool log, bool txn,
                    const char* home, const char* key1, const char* key2);
  bool ConstructMnr(bool thread, bool externalAccess, bool autoOpen);
  void DestructEnv();
  void DestructMnr();

 private:
  friend class XDbContainer;
  friend struct xdb::XDbAccess;

  // Its deleter closes it.
  std::shared_ptr<xdb::Environment> environment_;
  std::shared_ptr<xdb::Session> session_;
  std::unique_ptr<xdb::PreparedQueries> prepared_;
};

}  // namespace kiv

#endif  // KIV_XDB_MANAGER_H_

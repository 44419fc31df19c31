#ifndef MQ_SQLITE_QUEUE_FILE_H_
#define MQ_SQLITE_QUEUE_FILE_H_

#include <memory>
#include <string>

#include "mq/queue_name.h"
#include "mq/sqlite_connection.h"

// The database file of one queue; docs/durable-queues.md describes it. Paths
// are native text.
namespace kiv::mq {

// Complete under its name or not there at all, whatever happens meanwhile. True
// also when somebody else was quicker.
bool CreateQueueFile(const std::string& folder, const QueueName& name,
                     const std::string& label, std::string& reason);

// Null, with the reason, for a file that is missing, damaged, another queue's
// or no queue's at all. It is never changed for that.
std::unique_ptr<SqliteConnection> OpenQueueFile(const std::string& path,
                                                const QueueName& name,
                                                std::string& reason);

// Whether the queue is deleted already while its file is still there.
bool IsDeleted(SqliteConnection& file);

// For everybody who has it open, too.
bool DeleteQueueFile(const std::string& path, const QueueName& name,
                     std::string& reason);
// Ends what a program that was killed in the middle of DeleteQueueFile began;
// true when there was such a file.
bool RemoveHalfDeleted(const std::string& path, const QueueName& name);

}  // namespace kiv::mq

#endif  // MQ_SQLITE_QUEUE_FILE_H_

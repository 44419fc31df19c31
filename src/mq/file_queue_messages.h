#ifndef MQ_FILE_QUEUE_MESSAGES_H_
#define MQ_FILE_QUEUE_MESSAGES_H_

#include <string>

// The texts of the file queue, in the local encoding. Values as Shown gives
// them.
namespace kiv::msgq::message {

std::string SettingsNotLoaded();
std::string SettingsNotFound(const std::string& path);
std::string SettingsNotParsed(const std::string& path);
std::string NoRoot(const std::string& path);
std::string NoDirectories(const std::string& path);
std::string DirectoriesNotLoaded(const std::string& path);
std::string DirectoryNotFetched(unsigned index);
std::string DirectoryNotLoaded(unsigned index);

std::string NoPath();
std::string BadPath();
std::string PathNotAbsolute(const std::string& path);
std::string PathNotCreated(const std::string& path);
std::string BadName();
std::string NoProcessor();
std::string BadProcessorText();
std::string DirectoryNotAdded(const std::string& path);
std::string TooManyDirectories(unsigned most);
std::string BadProcessor(const std::string& description);

std::string WorkerStarted();

}  // namespace kiv::msgq::message

#endif  // MQ_FILE_QUEUE_MESSAGES_H_

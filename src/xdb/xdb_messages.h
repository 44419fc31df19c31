#ifndef XDB_XDB_MESSAGES_H_
#define XDB_XDB_MESSAGES_H_

#include <string>

// The texts of the XML database that are not ASCII, in the local encoding.
// Values as Shown gives them.
namespace kiv::xdb::message {

std::string BadContainerName(const std::string& operation,
                             const std::string& argument,
                             const std::string& name);
std::string FolderNotMade(const std::string& path);

std::string TryingRepair(const std::string& home, const std::string& text);
std::string RepairFailed(const std::string& home, const std::string& text);
std::string TryingRepairAgain(const std::string& home, const std::string& text);
std::string RepairFailedAgain(const std::string& home, const std::string& text);

std::string GetDocumentException();
std::string GetFileNameException();
std::string NoContextToPut();
std::string NoContextToDelete();
std::string NoContextToUpdate();

std::string NoContent();

}  // namespace kiv::xdb::message

#endif  // XDB_XDB_MESSAGES_H_

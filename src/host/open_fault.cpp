#include "host/open_fault.h"

#include <cerrno>

#include <fmt/format.h>

namespace kymora {

namespace {

// Empty where nobody knows.
std::string_view Advice(int systemError) {
    switch (systemError) {
    case ENOENT:
    case ENOTDIR:
        return "Check the name and the folder: the file may have been moved, renamed or deleted, or the disk "
               "that it is on is not connected.";
    case EACCES:
    case EPERM:
        return "The permissions of the file or of its folder do not allow it. Ask the owner for them, or use "
               "a copy in a "
               "folder of your own.";
    case EISDIR:
        return "Choose a file: this is a folder or a device.";
    case EMFILE:
    case ENFILE:
        return "Too many files are open. Close some recordings and open it again.";
    case ENAMETOOLONG:
        return "Give the file or its folder a shorter name.";
    case EIO:
    case ENXIO:
    case ESTALE:
    case ENODEV:
        return "Check the disk and its connection, and open it again.";
    default:
        return {};
    }
}

}  // namespace

std::string OpenFaultText(std::string_view text, const FileError& error) {
    const std::string_view advice = Advice(error.systemError);
    return fmt::format("{}\n{}{}{}", text, error.what(), advice.empty() ? "" : "\n", advice);
}

}  // namespace kymora

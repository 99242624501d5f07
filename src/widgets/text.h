#pragma once
// Texts and paths of the core in the form that widgets take, and back.

#include <QString>
#include <filesystem>
#include <string_view>

namespace kymora {

QString ToQString(std::string_view text);
QString FileName(const std::filesystem::path& path);
std::filesystem::path ToPath(const QString& name);

}  // namespace kymora

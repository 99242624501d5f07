#include "widgets/text.h"

#include <QFile>

#include "archive/text_encoding.h"

namespace kymora {

QString ToQString(std::string_view text) { return QString::fromStdString(ToDisplayText(text)); }

QString FileName(const std::filesystem::path& path) {
    return QFile::decodeName(QByteArray::fromStdString(path.string()));
}

std::filesystem::path ToPath(const QString& name) { return QFile::encodeName(name).toStdString(); }

}  // namespace kymora

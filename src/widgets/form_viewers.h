#pragma once
// Fields of a form that are only looked at: tables, and text of even width.

#include "host/form.h"
#include "widgets/form_editor.h"

namespace kymora {

std::unique_ptr<FormEditor> MakeTableViewer(const Field& field, QWidget* parent);
std::unique_ptr<FormEditor> MakeTextViewer(QWidget* parent);

}  // namespace kymora

#pragma once
// Forms as JSON: what they ask for, and filling them in.

#include "host/form.h"
#include "remote/remote_json.h"

namespace kymora {

// {"title", "fields": [{"key", "kind", "label", "value", "least", "greatest", "choices"}]}
Json DescribeForm(const Form& form);

// Sets the fields that `answers`, an object by keys, names, presses the buttons that it names, in its order,
// and checks the form. Answers why the form cannot be accepted, or nothing.
std::string FillForm(Form& form, const Json& answers);

}  // namespace kymora

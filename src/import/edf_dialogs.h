#pragma once
// What is asked and shown when an EDF file opens.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/form.h"
#include "host/session.h"
#include "import/edf_header.h"

namespace kymora {

// CEDFChooseChans: the signals that become traces, as indexes in header.signals. `proposed` are checked; none
// for the first 16. Nothing when the user cancels.
std::optional<std::vector<int>> ChooseEdfSignalsByDialog(Session& session, const EdfHeader& header,
                                                         const std::vector<int>& proposed);

// CEDFAnnotLayout: whether each annotation gets an event channel of its own, or all of one signal share one.
// `count` is that of the annotations without the marks of the records' starts. Once silenced, the last answer
// stands for the session. Nothing when the user cancels.
std::optional<bool> AskSeparateAnnotations(Session& session, int64_t count);

// CEDFInfo: the details of the file. `annotations` makes the list of annotations when it is asked for; where
// it is empty, there is none yet.
Form EdfInfoForm(Session& session, const EdfHeader& header, std::function<std::string()> annotations);

// The start date of the header as day/month/year, with the century that the format says: 85 to 99 are 19xx.
std::string EdfDateText(const std::string& headerDate);

}  // namespace kymora

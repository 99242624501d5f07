#pragma once
// Parameters as JSON, with values as --set takes them: traces from 1, channels from 0, a choice as its
// number.

#include "operations/batch_base_dlg.h"
#include "results/json_writer.h"

namespace kymora {

void WriteParamValue(JsonWriter& json, const Field& param);
// {KEY: value, ...} of all parameters of an operation.
void WriteSettings(JsonWriter& json, CBatchBaseDlg& block);
// Those with which the last run began: a window may go on with what was found.
void WriteUsedSettings(JsonWriter& json, CBatchBaseDlg& block);

}  // namespace kymora

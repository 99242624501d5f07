#include "catalogue/param_text.h"

#include <fmt/format.h>

#include "host/session.h"

namespace kymora {

ParamLimits LimitsOf(const Param& param) {
    switch (param.kind) {
    case ParamKind::trace:
        return {true, true, 1.0, maxTraces};
    case ParamKind::channel:
        return {true, true, 0.0, maxEventChannels - 1};
    case ParamKind::number:
    case ParamKind::integer:
        break;
    default:
        return {};
    }
    const bool whole = param.kind == ParamKind::integer;
    const double lowest =
        whole ? std::numeric_limits<int32_t>::min() : double{std::numeric_limits<float>::lowest()};
    const double highest =
        whole ? std::numeric_limits<int32_t>::max() : double{std::numeric_limits<float>::max()};
    return {param.least > lowest, param.greatest < highest, param.least, param.greatest};
}

std::string LimitsText(const Param& param) {
    const ParamLimits limits = LimitsOf(param);
    if (limits.hasLeast && limits.hasGreatest)
        return fmt::format("{:.9g} to {:.9g}", limits.least, limits.greatest);
    if (limits.hasLeast) return fmt::format("from {:.9g}", limits.least);
    if (limits.hasGreatest) return fmt::format("up to {:.9g}", limits.greatest);
    return {};
}

std::string PlainMenuPath(std::string_view menu) {
    std::string path;
    for (const char c : menu)
        if (c == '/')
            path += " > ";
        else if (c != '&')
            path += c;
    return path;
}

}  // namespace kymora

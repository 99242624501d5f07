#include "acquisition/comedi_library.h"

#include <dlfcn.h>
#include <optional>
#include <unistd.h>

namespace kymora {

namespace {

std::optional<ComediLibrary> Load() {
    // It stays until the program ends: boards may.
    void* const file = ::dlopen("libcomedi.so.0", RTLD_NOW | RTLD_LOCAL);
    if (!file) return {};
    bool isWhole = true;
    const auto find = [&](auto& function, const char* name) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(::dlsym(file, name));
        isWhole = isWhole && function != nullptr;
    };
    ComediLibrary library{};
    find(library.open, "comedi_open");
    find(library.close, "comedi_close");
    find(library.fileno, "comedi_fileno");
    find(library.boardName, "comedi_get_board_name");
    find(library.findSubdevice, "comedi_find_subdevice_by_type");
    find(library.flags, "comedi_get_subdevice_flags");
    find(library.channels, "comedi_get_n_channels");
    find(library.maxData, "comedi_get_maxdata");
    find(library.rangeCount, "comedi_get_n_ranges");
    find(library.range, "comedi_get_range");
    find(library.timedCommand, "comedi_get_cmd_generic_timed");
    find(library.testCommand, "comedi_command_test");
    find(library.command, "comedi_command");
    find(library.cancel, "comedi_cancel");
    find(library.internalTrigger, "comedi_internal_trigger");
    find(library.configureDigital, "comedi_dio_config");
    find(library.writeDigital, "comedi_dio_write");
    library.read = ::read;
    library.write = ::write;
    if (isWhole) return library;
    ::dlclose(file);
    return {};
}

}  // namespace

const ComediLibrary* FindComedi() {
    static const std::optional<ComediLibrary> library = Load();
    return library ? &*library : nullptr;
}

}  // namespace kymora

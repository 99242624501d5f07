#include "document/object_array.h"

#include <string>

namespace kymora {
namespace {

constexpr uint16_t nullTag = 0;
constexpr uint16_t newClassTag = 0xFFFF;
constexpr uint16_t bigTag = 0x7FFF;  // the tag follows as u32
constexpr uint32_t bigClassBit = 0x80000000;
constexpr uint16_t classBit = 0x8000;

}  // namespace

void ObjectArrayReader::ReadArray(const std::function<void(CAnnotation)>& take) {
    const uint32_t count = archive_.ReadCount();
    archive_.CheckRoom(count, sizeof(uint16_t), "objects");
    for (uint32_t i = 0; i < count; ++i) {
        const auto tag = archive_.Read<uint16_t>();
        if (tag == nullTag) continue;
        Entry entry{};
        if (tag == newClassTag) {
            entry = ReadNewClass();
        } else {
            const uint32_t wide = tag == bigTag           ? archive_.Read<uint32_t>()
                                  : (tag & classBit) != 0 ? (tag & ~uint32_t{classBit}) | bigClassBit
                                                          : tag;
            const uint32_t index = wide & ~bigClassBit;
            if ((wide & bigClassBit) == 0 || index == 0 || index > entries_.size() ||
                entries_[index - 1] == Entry::object)
                throw ArchiveError("An object in the file is of no class that the file names.");
            entry = entries_[index - 1];
        }
        CAnnotation object;
        if (entry == Entry::annotationClass)
            object = LoadOldAnnotation(archive_);
        else
            static_cast<CMarker&>(object) = LoadMarker(archive_);
        entries_.push_back(Entry::object);
        if (!archive_.IsSkimming()) take(std::move(object));
    }
}

ObjectArrayReader::Entry ObjectArrayReader::ReadNewClass() {
    archive_.Read<uint16_t>();  // schema number
    const auto length = archive_.Read<uint16_t>();
    archive_.CheckRoom(length, 1, "characters of a class name");
    std::string name(length, '\0');
    archive_.ReadRaw(std::as_writable_bytes(std::span(name)));
    const bool annotation = name == "CAnnotation" || name == "CAnnotationOld";
    if (!annotation && name != "CMarker")
        throw ArchiveError("The file holds an object of a class that is not known here.");
    entries_.push_back(annotation ? Entry::annotationClass : Entry::markerClass);
    return entries_.back();
}

}  // namespace kymora

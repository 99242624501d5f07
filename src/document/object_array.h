#pragma once
// Arrays of objects as files of versions 3 to 6 hold them: each object led by a tag that names its class at
// the first use and refers to it afterwards. One reader serves all arrays of an archive, since tags count
// through it.

#include <cstdint>
#include <functional>
#include <vector>

#include "archive/archive.h"
#include "document/overlays.h"

namespace kymora {

class ObjectArrayReader {
  public:
    explicit ObjectArrayReader(CArchive& archive) : archive_(archive) {}

    // Reads a count and that many objects of the classes CMarker, CAnnotation and CAnnotationOld, and hands
    // each to `take`; of a marker only the marker's part counts. Null objects are left out. Throws
    // ArchiveError for any other class, and for an object that is nothing but a reference to an earlier one:
    // no list holds one object twice, and a few damaged bytes could otherwise ask for any amount of memory.
    void ReadArray(const std::function<void(CAnnotation)>& take);

  private:
    enum class Entry : uint8_t { object, markerClass, annotationClass };

    Entry ReadNewClass();

    CArchive& archive_;
    std::vector<Entry>
        entries_;  // classes and objects in the order of their first appearance; tags count from 1
};

}  // namespace kymora

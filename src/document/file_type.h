#pragma once
// The codes under which files keep where a recording comes from, of those formats that can be read.

namespace kymora {

enum FileType : int {
    typeBase = 0,
    typeText = 1,
    typeFloat = 5,
    typeBinary = 9,
    typeDtx = 12,
    typeEdf = 13,
    typeRecording = 16,
};

}  // namespace kymora

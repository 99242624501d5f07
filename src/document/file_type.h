#pragma once
// The codes under which files keep where a recording comes from.

namespace kymora {

enum FileType : int {
    typeBase = 0,
    typeText = 1,
    typeCed = 2,
    typeSpike2 = 3,
    typeBoard = 4,
    typeFloat = 5,
    typeEcr = 6,
    typeScope = 7,
    typeAxon = 8,
    typeBinary = 9,
    typeWav = 10,
    typeWintron = 11,
    typeDtx = 12,
    typeEdf = 13,
    typeDataQ = 14,
    typePicoMat = 15,
    typeAcquisition = 16,  // recordings and live recordings alike
    typeAxograph = 17,
    typeMultiChannel = 18,
};
// The class that answers a code ("CFloatDoc" for 5).
const char* FileTypeClassName(int typeCode);

}  // namespace kymora

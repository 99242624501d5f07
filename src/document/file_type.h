#pragma once
// The codes under which files keep where a recording comes from, of those formats that can be read.

namespace kymora {

enum FileType : int {
    typeBase = 0,
    typeText = 1,
    typeCed = 2,
    typeSpike2 = 3,
    typeFloat = 5,
    typeAxon = 8,
    typeBinary = 9,
    typeWav = 10,
    typeDtx = 12,
    typeEdf = 13,
    typeDataQ = 14,
    typePicoMat = 15,
    typeRecording = 16,
    typeAxograph = 17,
    typeBdf = 20,
    typeSpikeGlx = 21,
    typeIntan = 22,
    typeOpenEphys = 23,
    typeNeuralynx = 24,
    typeBlackrock = 25,
    typeNwb = 26,
};

}  // namespace kymora

#include "document/file_type.h"

namespace kymora {

const char* FileTypeClassName(int typeCode) {
    static constexpr const char* names[] = {
        "CDataDoc",  "CAscDoc",     "CCEDDoc",    "CSpike2Doc",   "CKYMDoc",      "CFloatDoc", "CECRDoc",
        "CScopeDoc", "CAxonDoc",    "CBinaryDoc", "CWavDoc",      "CWintronDoc",  "CDtxDoc",   "CEDFDoc",
        "CDataQDoc", "CPicoMatDoc", "CAcqDoc",    "CAxographDoc", "CMultiChanDoc"};
    return typeCode >= 0 && typeCode <= typeMultiChannel ? names[typeCode] : names[0];
}

}  // namespace kymora

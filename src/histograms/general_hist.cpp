#include "histograms/general_hist.h"

namespace kymora {

namespace {

constexpr uint32_t generalHistVersion = 1;
constexpr const char* noFileText = "Choose a text file of numbers.";

}  // namespace

void CGeneralHist::Serialize(CArchive& archive) {
    CEventAnalRgnBase::Serialize(archive);
    ExchangeVersion(archive, generalHistVersion, ClassName());
    m_hist.Exchange(archive);
    Exchange(archive, m_strFile);
    m_hist.ExchangeFurther(archive);
}

void CGeneralHist::Describe(ParamList& list) {
    DescribeFile(list);
    m_hist.DescribeBins(list, Words());
    m_hist.DescribeOverlays(list, Words());
    DescribeSaving(list);
}

std::string CGeneralHist::CheckSettings() { return m_strFile.empty() ? noFileText : std::string(); }

}  // namespace kymora

// MATLAB files of version 7.3, by the same form as the older ones.

#include <cstring>

#include "import/reader_fixture.h"
#include "support/hdf5_builder.h"

namespace kymora::test {
namespace {

class MatHdf5Test : public ReaderTest {};

TEST_F(MatHdf5Test, ColumnsStructuresAndTextsAreThoseOfMatlab) {
    Hdf5Builder file;
    std::vector<double> matrix;  // 5 rows and 2 columns in MATLAB; the columns follow one another
    for (int i = 0; i < 10; ++i) matrix.push_back(i * 1.5);
    file.Array(std::string("pair"), matrix, {2, 5}, {{1, 3}, true});
    file.Attribute("pair", "MATLAB_class", "double");
    file.Array<float>("emg/values", {1, 2, 3, 4, 5}, {1, 5});
    file.Array<double>("emg/interval", {0.0005}, {1, 1});
    file.Array<int16_t>("emg/units", {'m', 'V'}, {2, 1});
    file.Attribute("emg/units", "MATLAB_class", "char");
    file.Array<int16_t>("other/units", {'A'}, {1, 1});
    file.Array<double>("#refs#/a", {7, 8}, {1, 2});
    auto bytes = file.Bytes();
    bytes.insert(bytes.begin(), 512, std::byte{' '});
    std::memcpy(bytes.data(), "MATLAB 7.3 MAT-file", 19);
    files.Put("/x.mat", bytes);
    request.settings = {{"variables", "emg.values,pair"}};
    const auto doc = Reopen("/x.mat");
    ASSERT_TRUE(doc) << host.LastMessage();
    ASSERT_EQ(doc->traceCount, 3);
    EXPECT_EQ(doc->sampleInterval, 0.5);
    EXPECT_EQ(doc->traces[0].traceLabel, "emg");
    EXPECT_EQ(doc->traces[0].traceUnits, "mV");
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{1, 2, 3, 4, 5}));
    EXPECT_EQ(All(*doc, 2), (std::vector<float>{7.5f, 9.0f, 10.5f, 12.0f, 13.5f}));
    request.settings = {{"variables", "refs"}};
    EXPECT_FALSE(Reopen("/x.mat"));
    EXPECT_NE(host.LastMessage().find("names of the file's variables: emg.values, pair"), std::string::npos)
        << host.LastMessage();
}

}  // namespace
}  // namespace kymora::test

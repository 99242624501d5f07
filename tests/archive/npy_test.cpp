// NumPy's files, against bytes as NumPy writes them.

#include "archive/npy.h"

#include <gtest/gtest.h>

#include "host/memory_file_system.h"

namespace kymora::test {
namespace {

std::string File(const std::string& head, const std::string& numbers, char version = 1) {
    std::string text("\x93NUMPY", 6);
    text += version;
    text += '\0';
    text += static_cast<char>(head.size());
    text += '\0';
    if (version > 1) text += std::string(2, '\0');
    return text + head + numbers;
}

std::string Head(const std::string& type, const std::string& shape) {
    return "{'descr': '" + type + "', 'fortran_order': False, 'shape': " + shape + ", }\n";
}

class NpyTest : public ::testing::Test {
  protected:
    // The numbers, or why there are none.
    std::string Read(const std::string& bytes) {
        const auto from = std::as_bytes(std::span(bytes));
        files.Put("a.npy", {from.begin(), from.end()});
        try {
            std::string text;
            for (const int64_t number : ReadNpyIntegers(*files.Open("a.npy", OpenMode::readOnly)))
                text += std::to_string(number) + ' ';
            return text;
        } catch (const ArchiveError& fault) {
            return fault.what();
        }
    }
    MemoryFileSystem files;
};

TEST_F(NpyTest, ReadsEveryTypeOfWholeNumbers) {
    using std::string;
    const struct {
        const char* what;
        string bytes, numbers;
    } cases[] = {
        {"int32", File(Head("<i4", "(2,)"), string("\x05\0\0\0\xfe\xff\xff\xff", 8)), "5 -2 "},
        {"big-endian", File(Head(">i2", "(2,)"), string("\x01\x02\xff\xff", 4)), "258 -1 "},
        {"bytes", File(Head("|u1", "(3, 1)"), string("\xff\0\x01", 3)), "255 0 1 "},
        {"uint64, version 2", File(Head("<u8", "(1, 1)"), string("\x07\0\0\0\0\0\0\0", 8), 2), "7 "},
        {"double", File(Head("<f8", "(1,)"), string("\0\0\0\0\0\0\x14\xc0", 8)), "-5 "},
        {"float", File(Head("<f4", "()"), string("\0\0\x80\x3f", 4)), "1 "},
        {"none", File(Head("<i8", "(0,)"), ""), ""},
        {"not whole", File(Head("<f4", "(1,)"), string("\0\0\0\x3f", 4)),
         "This is no array of whole numbers."},
        {"not a number", File(Head("<f4", "(1,)"), string("\0\0\xc0\x7f", 4)),
         "This is no array of whole numbers."},
        {"large", File(Head("<u8", "(1,)"), string(8, '\xff')),
         "This is no array of numbers that are small enough."},
        {"two dimensions", File(Head("<i4", "(2, 2)"), string(16, '\0')),
         "This is no array of one dimension."},
        {"cut", File(Head("<i4", "(3,)"), string(8, '\0')),
         "This is no array that is whole: the file ends before its 3 numbers do."},
        {"huge", File(Head("<i4", "(18446744073709551615,)"), string(8, '\0')),
         "This is no array that is whole: the file ends before its 18446744073709551615 numbers do."},
        {"texts", File(Head("<U4", "(1,)"), string(16, '\0')),
         "This is no array of numbers that can be read: its type is <U4."},
        {"records",
         File("{'descr': [('a', '<i4')], 'fortran_order': False, 'shape': (1,), }", string(4, '\0')),
         "This is no array of plain numbers."},
        {"no shape", File("{'descr': '<i4', 'fortran_order': False}", string(4, '\0')),
         "This is no array of NumPy: its head has no shape."},
        {"a shape of words", File(Head("<i4", "(a,)"), ""), "This is no array with a shape."},
        {"a cut head", File(Head("<i4", "(1,)"), "").substr(0, 30),
         "This is no array of NumPy: its head ends early."},
        {"a text", "spikes", "This is no array of NumPy."},
        {"empty", "", "This is no array of NumPy."},
    };
    for (const auto& one : cases) EXPECT_EQ(Read(one.bytes), one.numbers) << one.what;
}

TEST_F(NpyTest, WritesWhatNumPyWrites) {
    const std::vector<float> values{1.0f, -2.0f};
    files.Put("b.npy", {});
    const auto file = files.Open("b.npy", OpenMode::readWrite);
    CArchive archive(*file, CArchive::Mode::store);
    WriteNpy<float>(archive, std::vector<size_t>{1, 2}, values);
    archive.Close();
    std::string bytes(static_cast<size_t>(file->Length()), ' ');
    ReadWhole(*file, 0, std::as_writable_bytes(std::span(bytes)));
    std::string head = "{'descr': '<f4', 'fortran_order': False, 'shape': (1, 2), }";
    head.resize(117, ' ');
    EXPECT_EQ(bytes, std::string("\x93NUMPY\x01\0\x76\0", 10) + head + "\n" +
                         std::string("\0\0\x80\x3f\0\0\0\xc0", 8));
}

}  // namespace
}  // namespace kymora::test

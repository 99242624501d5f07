#include "host/form.h"
#include "import/formats.h"
#include "import/open_document.h"

#include <gtest/gtest.h>

#include "document/native_writer.h"
#include "import/convert_to_text.h"
#include "import/file_properties.h"
#include "import/reader_fixture.h"
#include "support/edf_builder.h"
#include "support/memory_doc.h"

namespace kymora::test {
namespace {

class OpenDocumentTest : public ReaderTest {
  protected:
    void SetUp() override {
        WriteNative("/a.kymr-dat", {1, 2, 3});
        files.Put("/b.EDF", EdfBuilder().AddRamp("one", 10).Build());
        host.progress.clear();
    }
    void WriteNative(const std::filesystem::path& path, std::vector<float> samples) {
        WriteNativeFile(*MemoryDoc::Make(session, {std::move(samples)}), path);
    }
    std::string Text(const std::filesystem::path& path) {
        const auto& bytes = files.Bytes(path);
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }

    std::vector<CDataDoc*> shown;  // documents of the interface
    BatchDocuments batch{session, [this] { return shown; }};
};

TEST_F(OpenDocumentTest, FileDialogsOfferTheFormatsInTheirOrder) {
    constexpr const char* all =
        "All recognised types|*.mcd;*.kymr-dat;*.kymr-rec;*.abf;*.axgx;*.axgd;*.cfs;*.smr;*.smrx;*.prm;*.bfr;"
        "*.txt;*.asc;*.csv;*.bin;*.vet;*.wav;*.flt;*.edf;*.mat;*.wdq;*.dtx;*.dtb;*.bdf;*.meta;*.rhd;*.rhs;*."
        "oebin;*.ncs;*.ns1;*.ns2;*.ns3;*.ns4;*.ns5;*.ns6;*.ns9;*.nwb|";
    constexpr const char* read = "ASCII text (*.asc)|*.asc|comma-separated value text (*.csv)|*.csv|";
    constexpr const char* text = "Text (*.txt)|*.txt|";
    constexpr const char* binary = "Raw binary (*.bin)|*.bin|";
    constexpr const char* edf = "European Data Format (*edf)|*.edf|";
    constexpr const char* native = "binary float (*.flt)|*.flt|native Kymora(*.kymr-dat)|*.kymr-dat|";
    constexpr const char* recordings =
        "Kymora recording (*.kymr-rec)|*.kymr-rec|Kymora DataTranslation board (*.dtx)|*.dtx|";
    constexpr const char* more =
        "European Data Format, 24 bits (*bdf)|*.bdf|SpikeGLX (*.meta)|*.meta|"
        "Intan RHD2000 (*.rhd)|*.rhd|Intan RHS2000 (*.rhs)|*.rhs|"
        "Open Ephys (*.oebin)|*.oebin|Neuralynx (*.ncs)|*.ncs|Blackrock (*.ns6)|*.ns6|Blackrock "
        "(*.ns5)|*.ns5|"
        "Blackrock (*.ns4)|*.ns4|Blackrock (*.ns3)|*.ns3|Blackrock (*.ns2)|*.ns2|Blackrock (*.ns1)|*.ns1|"
        "Blackrock (*.ns9)|*.ns9|Neurodata Without Borders (*.nwb)|*.nwb|";
    EXPECT_EQ(OpenFilter(),
              std::string(all) +
                  "Multi-channel data (*mcd)|*.mdc|Axon gap-free (*abf)|*.abf|CED signal (*.cfs)|*.cfs|"
                  "CED Spike2 (*.smr)|*.smr|CED Spike2 (*.smrx)|*.smrx|EGAA ECR (*prm)|*.prm|EGAA Scope "
                  "(*.bfr)|*.bfr|" +
                  read + text + binary + "Wintrontech (*vet)|*.vet|audio (*.wav)|*.wav|" + edf +
                  "DataQ (*.wdq)|*.wdq|PicoScop Mat (*.mat)|*.mat|Axograph (*axgx)|*.axgx|" + native +
                  recordings + more + "|");
    EXPECT_EQ(ConvertibleFilter(),
              std::string(
                  "All convertible "
                  "types|*.abf;*.cfs;*.smr;*.asc;*.csv;*.bin;*.wav;*.edf;*.wdq;*.mat;*.axgx;*.flt;*.kymr-dat;"
                  "*.kymr-rec;*.dtx;*.bdf;*.meta;*.rhd;*.rhs;*.oebin;*.ncs;*.ns6;*.ns5;*.ns4;*.ns3;*.ns2;*."
                  "ns1;*.ns9;*.nwb|Axon gap-free (*abf)|*.abf|CED signal "
                  "(*.cfs)|*.cfs|CED Spike2 "
                  "(*.smr)|*.smr|") +
                  read + binary + "audio (*.wav)|*.wav|" + edf +
                  "DataQ (*.wdq)|*.wdq|PicoScop Mat (*.mat)|*.mat|Axograph (*axgx)|*.axgx|" + native +
                  recordings + more + "|");
}

TEST_F(OpenDocumentTest, FileTypesHaveTheNamesOfTheirClasses) {
    const char* names[] = {"CDataDoc",    "CAscDoc",     "CCEDDoc",      "CSpike2Doc",    "CKYMDoc",
                           "CFloatDoc",   "CECRDoc",     "CScopeDoc",    "CAxonDoc",      "CBinaryDoc",
                           "CWavDoc",     "CWintronDoc", "CDtxDoc",      "CEDFDoc",       "CDataQDoc",
                           "CPicoMatDoc", "CAcqDoc",     "CAxographDoc", "CMultiChanDoc", "CDataDoc"};
    for (int code = 0; code < 20; ++code) EXPECT_EQ(FileTypeClassName(code), names[code]) << code;
    EXPECT_EQ(FileTypeClassName(noFileType), "CDataDoc");
}

TEST_F(OpenDocumentTest, FilesOfKnownTypesWithoutAReaderAreNamed) {
    files.Put("/cell.PRM", {});
    EXPECT_FALSE(OpenDocument(session, "/cell.PRM"));
    EXPECT_EQ(host.LastMessage(), "cell.PRM is a recording of the type \"EGAA ECR\", which this version of "
                                  "Kymora recognises but cannot read.");
    for (const char* name : {"/x.mcd", "/x.mdc", "/x.dtb"}) {
        EXPECT_FALSE(OpenDocument(session, name));
        EXPECT_NE(host.LastMessage().find("cannot read"), std::string::npos) << name;
    }
    for (const char* name : {"/x.doc", "/x", "/x.", "/.edf/x", "/x.md", "/x.*"}) {
        EXPECT_FALSE(OpenDocument(session, name));
        EXPECT_EQ(host.LastMessage(), "Unrecognised file type: abandoning") << name;
    }
}

TEST_F(OpenDocumentTest, AFileWithoutAnExtensionIsKnownByItsMark) {
    for (const char* mark : {"AxGr", "axgx"}) {
        const auto bytes = std::as_bytes(std::span(mark, 4));
        files.Put("/cell", {bytes.begin(), bytes.end()});
        EXPECT_FALSE(OpenDocument(session, "/cell"));
        EXPECT_NE(host.LastMessage(), "Unrecognised file type: abandoning") << mark;
    }
}

TEST_F(OpenDocumentTest, ABatchWritesWhatReadersTellToTheLog) {
    EdfBuilder many;
    for (int i = 0; i < 17; ++i) many.AddRamp("s" + std::to_string(i), 10);
    files.Put("/many.edf", many.Build());
    auto episodes = MemoryDoc::Make(session, {{1, 2, 3}});
    episodes->episodic = true;
    episodes->episodicStored = 1;  // without a boundary
    WriteNativeFile(*episodes, "/episodes.kymr-dat");
    for (const char* name : {"/many.edf", "/episodes.kymr-dat"}) EXPECT_TRUE(batch.OpenForBatch(name));
    EXPECT_TRUE(host.WasSilent());
    EXPECT_NE(host.LogText().find("The first 16 of 17 signals"), std::string::npos);
    EXPECT_NE(host.LogText().find("flagged internally as Episodic"), std::string::npos);
    EXPECT_FALSE(batch.OpenForBatch("/missing.edf"));
}

TEST_F(OpenDocumentTest, ABatchTakesTheDocumentThatIsOpen) {
    auto open = OpenDocument(session, "/a.kymr-dat");
    shown = {open.get()};
    EXPECT_EQ(batch.OpenForBatch("/a.kymr-dat"), open.get());
    EXPECT_EQ(host.log.back(), "found file /a.kymr-dat already open\n");
    batch.CloseIfNotOpen("/a.kymr-dat");
    EXPECT_EQ(host.log.back(), "found file /a.kymr-dat already open\n");

    CDataDoc* own = batch.OpenForBatch("/b.EDF");
    EXPECT_EQ(batch.OpenForBatch("/b.EDF"), own) << "no second file handle";
    batch.CloseIfNotOpen("/b.EDF");
    EXPECT_NE(host.LogText().find("file /b.EDF is not already open, deleting\nIn CDataDoc dtor\n"),
              std::string::npos);
    EXPECT_TRUE(batch.OpenForBatch("/b.EDF"));
}

// Names that differ in case are one file where there is only one of them, and two where there are two.
TEST_F(OpenDocumentTest, CaseOfNames) {
    auto open = OpenDocument(session, "/a.kymr-dat");
    shown = {open.get()};
    EXPECT_EQ(batch.OpenForBatch("/A.KYMR-DAT"), open.get());
    WriteNative("/A.KYMR-DAT", {9, 9, 9, 9});
    CDataDoc* other = batch.OpenForBatch("/A.KYMR-DAT");
    ASSERT_TRUE(other);
    EXPECT_NE(other, open.get());
    EXPECT_EQ(other->GetLength(), 4);
}

TEST_F(OpenDocumentTest, TypesOfABatch) {
    EXPECT_FALSE(batch.OpenForBatch("/x.txt"));
    EXPECT_EQ(host.LastMessage(), "Unrecognised file type: abandoning");
    for (const char* name : {"/x.smrx", "/x.mdc", "/x.axgd"}) {
        EXPECT_FALSE(batch.OpenForBatch(name));
        EXPECT_EQ(host.LastMessage(), "Unrecognised file type: abandoning") << name;
    }
    for (const char* name : {"/x.MCD", "/x.dtb", "/x.PRM"}) {
        EXPECT_FALSE(batch.OpenForBatch(name));
        EXPECT_NE(host.LastMessage().find("recognises but cannot read"), std::string::npos) << name;
    }
}

TEST_F(OpenDocumentTest, ConvertingToText) {
    host.openFiles = {"/a.kymr-dat", "/gone.edf", "/b.EDF"};
    EXPECT_EQ(ConvertFilesToText(session, batch), 2);
    EXPECT_EQ(host.progress[0].label, "Converting file: ");
    EXPECT_EQ(host.progress[0].total, 3u);
    EXPECT_NE(Text("/a.txt").find("\n1.000000\t\n2.000000\t\n3.000000\t\n"), std::string::npos);
    EXPECT_TRUE(files.Has("/b.txt"));
    EXPECT_EQ(host.messages.size(), 1u) << "of the file that is not there";
    EXPECT_TRUE(host.questions.empty());

    files.Put("/a.txt", {});
    host.answer = false;
    EXPECT_EQ(ConvertFilesToText(session, batch), 0);
    EXPECT_EQ(host.questions.size(), 2u) << "no text is replaced without a question";
    EXPECT_EQ(files.Bytes("/a.txt").size(), 0u);
}

TEST_F(OpenDocumentTest, NoTextThatIsOpenIsReplaced) {
    const std::string_view text = "1\t2\n3\t4\n";
    const auto bytes = std::as_bytes(std::span(text));
    files.Put("/a.txt", {bytes.begin(), bytes.end()});
    auto open = OpenDocument(session, "/a.txt");
    ASSERT_TRUE(open) << host.LastMessage();
    shown = {open.get()};
    host.answer = true;
    host.openFiles = {"/a.kymr-dat"};
    EXPECT_EQ(ConvertFilesToText(session, batch), 0);
    EXPECT_EQ(host.LastMessage(), "The file /a.txt is open. It was left as it is.");
    EXPECT_EQ(Text("/a.txt"), text);
}

TEST_F(OpenDocumentTest, ACancelEndsTheConversion) {
    host.openFiles = {"/a.kymr-dat", "/b.EDF"};
    host.cancelAtDone = 1;  // after the first file
    EXPECT_EQ(ConvertFilesToText(session, batch), 1);
    EXPECT_TRUE(files.Has("/a.txt"));
    EXPECT_FALSE(files.Has("/b.txt"));
    host.Forget();
    host.openFiles.clear();
    EXPECT_EQ(ConvertFilesToText(session, batch), 0);
    EXPECT_TRUE(host.questions.empty());
}

TEST_F(OpenDocumentTest, FilePropertiesShowAndEdit) {
    auto doc = OpenDocument(session, "/b.EDF");
    doc->historyLog = "START\r\n";
    host.fillForms = {[&](Form& form) {
                          EXPECT_EQ(form["type"].text, "European Data Format Document");
                          EXPECT_EQ(form["length"].text, "10");
                          form["history"].action(form);
                          EXPECT_EQ(host.texts.back().text, "START\r\n");
                          form["edfDetails"].action(form);
                          form["comment"].text = "new";
                          return true;
                      },
                      [](Form& details) {
                          EXPECT_EQ(details.title, "EDF File Details");
                          return true;
                      }};
    EXPECT_TRUE(AskFileProperties(*doc));
    EXPECT_EQ(doc->fileComment, "new");
    EXPECT_TRUE(doc->IsModified());
    doc->SetModifiedFlag(false);
    host.fillForms = {[](Form&) { return true; }};
    EXPECT_TRUE(AskFileProperties(*doc));
    EXPECT_FALSE(doc->IsModified()) << "reading changes nothing";
}

}  // namespace
}  // namespace kymora::test

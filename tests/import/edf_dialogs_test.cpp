#include "host/form.h"
#include "import/edf_dialogs.h"

#include "edf_fixture.h"

namespace kymora::test {
namespace {

class EdfDialogs : public EdfTest {
  protected:
    void SetUp() override { request.talk = OpenTalk::asks; }

    static EdfBuilder Signals(int count) {
        EdfBuilder builder;
        builder.recordCount = 2;
        for (int i = 1; i <= count; ++i) builder.AddRamp("s" + std::to_string(i), 10);
        return builder;
    }
    static EdfBuilder WithAnnotations() {
        EdfBuilder builder = Signals(1);
        builder.reserved = "EDF+C";
        return builder.AddAnnotations({"+0||$+0.5|x|$+0.7|y|$", "+1||$"});
    }
    void Fill(std::function<bool(Form&)> fill) { host.fillForms.push_back(std::move(fill)); }
    void Accept() {
        Fill([](Form&) { return true; });
    }
};

TEST_F(EdfDialogs, TheChooserDecidesWhichSignalsAreTraces) {
    Fill([](Form& form) {
        EXPECT_EQ(form["signals"].choices.size(), 3u);
        EXPECT_EQ(form["signals"].choices[1], "2: s2  [uV]  10 Hz");
        EXPECT_EQ(form["file"].text, "EDF continuous record: 2 records of 1 s, from 1/2/2003 04:05:06");
        EXPECT_EQ(form["signals"].checks, (std::vector<uint8_t>{1, 1, 1}));
        form["clearChecks"].action(form);
        EXPECT_EQ(form.Check(), "You need at least 1 data trace selected.");
        form["signals"].checks = {0, 1, 1};
        form.onChange(form);
        EXPECT_EQ(form["count"].text, "2 of 3 signals are checked. At most 16 can be traces.");
        return true;
    });
    auto doc = Open(Signals(3));
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->traceCount, 2);
    EXPECT_EQ(doc->traces[0].traceLabel, "s2");
    EXPECT_EQ(host.forms, std::vector<std::string>{"Choose Channels"}) << "and no other dialog";
}

TEST_F(EdfDialogs, SeventeenSignalsAreOneTooMany) {
    Fill([](Form& form) {
        auto& checks = form["signals"].checks;
        EXPECT_EQ(std::count(checks.begin(), checks.end(), 1), 16);
        EXPECT_EQ(form.Check(), "");
        std::fill(checks.begin(), checks.end(), 1);
        EXPECT_EQ(form.Check(),
                  "Kymora can handle a maximum of 16 data traces. Please deselect at least 3 channels.");
        checks[0] = checks[1] = 0;
        return true;
    });
    EXPECT_EQ(Open(Signals(19)), nullptr);
    EXPECT_EQ(host.formFault,
              "Kymora can handle a maximum of 16 data traces. Please deselect at least 1 channels.");
    EXPECT_TRUE(host.messages.empty()) << "who cancels need not be told";
}

TEST_F(EdfDialogs, TheLayoutOfAnnotationsIsAskedAndRemembered) {
    session.skipFileDetails = true;
    Accept();
    Fill([](Form& form) {
        EXPECT_EQ(form.title, "Annotation Layout");
        EXPECT_EQ(form["count"].text, "Total TAL count (excluding Start time marks): 2");
        EXPECT_EQ(form["layout"].choices[0], "Place any subsequent TALs in separate event channels");
        form["layout"].choice = 0;
        form["silence"].flag = true;
        return true;
    });
    auto doc = Open(WithAnnotations());
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->GetNumEvents(1), 1);
    EXPECT_EQ(doc->GetNumEvents(2), 1);
    Accept();
    doc = Reopen();
    ASSERT_TRUE(doc);
    EXPECT_EQ(host.forms.size(), 3u) << "the layout is not asked again";
    EXPECT_EQ(doc->GetNumEvents(2), 1);
}

TEST_F(EdfDialogs, LayoutIsAskedOnlyWhereThereIsSomethingToLayOut) {
    session.skipFileDetails = true;
    Accept();
    ASSERT_TRUE(Open(Signals(1).AddAnnotations({"+0||$", "+1||$"})));
    EXPECT_EQ(host.forms.size(), 1u);
    Accept();
    Accept();
    auto doc = Open(WithAnnotations());
    ASSERT_TRUE(doc->OnSaveDocument());
    Accept();
    ASSERT_TRUE(Reopen());  // the side-car has the events
    EXPECT_EQ(host.forms.size(), 4u);
}

TEST_F(EdfDialogs, EveryDialogCanDeclineTheFile) {
    const struct {
        ImportSettings known;
        size_t accepted;  // dialogs before the one that is cancelled
        const char* title;
    } cases[] = {
        {{}, 0, "Choose Channels"},
        {{}, 1, "Annotation Layout"},
        {{{"signals", "1"}, {"annotations", "same"}}, 0, "EDF File Details"},
    };
    for (const auto& c : cases) {
        host.fillForms.clear();
        request.settings = c.known;
        for (size_t i = 0; i < c.accepted; ++i) Accept();
        Fill([](Form&) { return false; });
        EXPECT_EQ(Open(WithAnnotations()), nullptr) << c.title;
        EXPECT_EQ(host.forms.back(), c.title);
    }
    EXPECT_TRUE(host.messages.empty());
}

TEST_F(EdfDialogs, TheDetailsShowHeaderAndAnnotations) {
    EdfBuilder builder = WithAnnotations();
    builder.patient = "P 1";
    const auto show = [&](bool withAnnotations) {
        host.fillForms.push_front([&, withAnnotations](Form& form) {
            EXPECT_EQ(form["type"].text, "EDF+ continuous record");
            EXPECT_EQ(form["records"].text, "2");
            EXPECT_EQ(form["duration"].text, "1 s");
            EXPECT_EQ(form["patient"].text, "P 1");
            EXPECT_EQ(form["date"].text, "1/2/2003");
            EXPECT_EQ(form["time"].text, "04:05:06");
            const auto& table = form["signals"];
            EXPECT_EQ(table.choices, (std::vector<std::string>{"Chan", "Label", "Sample interval", "Dim",
                                                               "Pre-filter", "Transducer type"}));
            EXPECT_EQ(table.rows[0],
                      (std::vector<std::string>{"1", "s1", "100 ms", "uV", "HP:0.1Hz", "AgCl"}));
            EXPECT_EQ(table.rows[1][2], "");
            EXPECT_EQ(form["annotations"].IsEnabled(form), withAnnotations);
            if (!withAnnotations) return false;  // which declines nothing
            form["annotations"].action(form);
            EXPECT_NE(host.texts.back().text.find(": x\r\n"), std::string::npos);
            form["silence"].flag = true;
            return true;
        });
    };
    // From the chooser, where the annotations are not read yet.
    Fill([&](Form& form) {
        show(false);
        form["details"].action(form);
        return true;
    });
    Accept();
    ASSERT_TRUE(Open(builder));
    request.settings = {{"signals", "1"}, {"annotations", "same"}};
    show(true);
    ASSERT_TRUE(Reopen());
    EXPECT_TRUE(session.skipFileDetails);
}

TEST(EdfDate, HasTheCenturyOfTheFormat) {
    EXPECT_EQ(EdfDateText("31.12.84"), "31/12/2084");
    EXPECT_EQ(EdfDateText("01.01.85"), "1/1/1985");
    EXPECT_EQ(EdfDateText("unknown"), "unknown");
}

// --- the list ---

TEST_F(EdfDialogs, EveryPartOfARecordHasItsHeading) {
    request.talk = OpenTalk::tells;
    EdfBuilder builder = Signals(1);
    builder.recordCount = 3;
    builder.reserved = "EDF+C";
    builder.AddAnnotations({"+0||$", "", "+2||$"}).AddAnnotations({"", "+1|only|$", ""});
    auto doc = Open(builder);
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->AnnotationList(), "Record: 0, Annotation Signal: 0\r\nTAL: 0\r\nStart: +0 s\r\n"
                                     "Record: 0, Annotation Signal: 1\r\n"
                                     "Record: 1, Annotation Signal: 0\r\n"
                                     "Record: 1, Annotation Signal: 1\r\nTAL: 0\r\nStart: +1 s\r\n: only\r\n"
                                     "Record: 2, Annotation Signal: 0\r\nTAL: 0\r\nStart: +2 s\r\n"
                                     "Record: 2, Annotation Signal: 1\r\n");
}

// Long stretches without annotations are passed over; what stands behind them is found, in its record.
TEST_F(EdfDialogs, AnnotationsBehindManyEmptyRecords) {
    request.talk = OpenTalk::tells;
    constexpr int count = 300000;
    EdfBuilder builder;
    builder.recordCount = count;
    builder.duration = "1";
    builder.reserved = "EDF+C";
    std::vector<std::string> texts(count);
    for (const int at : {0, 131071, 131072, 262143, 299999}) texts[static_cast<size_t>(at)] = "+1|m|$";
    builder.AddAnnotations(std::move(texts), 4);
    auto doc = Open(builder);
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->GetNumEvents(0), 5);
    for (const char* record : {"Record: 131071", "Record: 131072", "Record: 262143", "Record: 299999"}) {
        const size_t at = doc->AnnotationList().find(record);
        ASSERT_NE(at, std::string::npos) << record;
        EXPECT_EQ(doc->AnnotationList().compare(doc->AnnotationList().find("\r\n", at) + 2, 6, "TAL: 0"), 0);
    }
}

}  // namespace
}  // namespace kymora::test

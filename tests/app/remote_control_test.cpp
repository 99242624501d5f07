// Files that open as a program under remote control starts.

#include "app/remote_control.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>

#include "app/main_frame.h"
#include "app/remote_desktop.h"
#include "catalogue/operations.h"
#include "host/memory_file_system.h"
#include "remote/remote_json.h"
#include "support/edf_builder.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

TEST(RemoteControlTest, WhatAFileSaysStandsInTheWindow) {
    TestHost person;
    RemoteHost host(person);
    MemoryFileSystem files;
    Session session(host, files);
    EdfBuilder builder;
    for (int i = 1; i <= 19; ++i) builder.AddRamp("s", 10);
    files.Put("/x.edf", builder.Build());
    CMainFrame frame(session, nullptr, {OpenFor::editing, OpenTalk::asks});
    frame.show();
    RemoteControl control(frame, session, host);
    control.OpenFiles({"/x.edf", "/none.edf"});
    EXPECT_EQ(frame.Children().size(), 1u);
    const auto* text = frame.findChild<QLabel*>("noticeText");
    EXPECT_TRUE(text->isVisible());
    EXPECT_TRUE(text->text().contains("first 16 of 19 signals")) << text->text().toStdString();
    EXPECT_TRUE(text->text().contains("Couldn't open file")) << text->text().toStdString();
    EXPECT_TRUE(person.messages.empty()) << "nothing waits for an answer";
    frame.ShowNotice("more");
    EXPECT_TRUE(text->text().endsWith("\nmore"));
    frame.findChild<QAbstractButton*>("closeNotice")->click();
    EXPECT_FALSE(text->isVisible());
    frame.ShowNotice("again");
    EXPECT_EQ(text->text(), "again");
}

// An operation that runs by itself says in its window why it did not.
TEST(RemoteControlTest, WhatOnlyTheWindowOfAnOperationSaysIsAnswered) {
    TestHost person;
    RemoteHost host(person);
    MemoryFileSystem files;
    Session session(host, files);
    files.Put("/x.edf", EdfBuilder().AddRamp("s", 10).Build());
    CMainFrame frame(session, nullptr, {OpenFor::editing, OpenTalk::asks});
    frame.show();
    DesktopRemote target(frame, session);
    ASSERT_EQ(target.Open("/x.edf", false), 0);
    const Operation& operation = *FindOperation("CJPSTH");
    ParamList params = target.OpenOperation(operation).Params();
    for (const auto& [key, text] : {std::pair("binWidth", "200"), {"region", "3"}, {"gateChannel", "z"}})
        ASSERT_EQ(params.Find(key)->SetFromText(text), "");
    target.OperationChanged(operation);
    try {
        target.RunOperation(operation);
        ADD_FAILURE();
    } catch (const RemoteError& error) {
        EXPECT_STREQ(error.what(), "There are no events in gate channel z.");
    }
}

}  // namespace
}  // namespace kymora::test

#include "platform/Resources.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Nib, named_main_describes_the_main_window) {
    IBNibRef nib = nullptr;
    ASSERT_EQ(noErr, CreateNibReference("main", &nib));
    NibWindow window;
    EXPECT_EQ(noErr, findNibWindow(nib, "MainWindow", &window));
    EXPECT_EQ("MainWindow", window.title);
    EXPECT_NE(std::string::npos, std::string(nibText(nib)).find("id=\"MainWindow\""));
    DisposeNibReference(nib);
}

TEST(Nib, of_another_name_is_not_found) {
    IBNibRef nib = nullptr;
    EXPECT_EQ(-10960, CreateNibReference("other", &nib));
    EXPECT_EQ(-10960, CreateNibReference("", &nib));
    EXPECT_EQ(nullptr, nib);
}

TEST(Nib, has_only_what_is_in_it) {
    IBNibRef nib = nullptr;
    ASSERT_EQ(noErr, CreateNibReference("main", &nib));
    NibWindow window{.title = "untouched"};
    EXPECT_EQ(kIBCarbonRuntimeCantFindObject, findNibWindow(nib, "OtherWindow", &window));
    EXPECT_EQ(kIBCarbonRuntimeCantFindObject, findNibWindow(nib, "", &window));
    EXPECT_EQ(kIBCarbonRuntimeObjectNotOfRequestedType, findNibWindow(nib, "NewWindowKey", &window));
    EXPECT_EQ("untouched", window.title);
}

TEST(Nib, refuses_references_and_arguments_that_are_none) {
    IBNibRef nib = nullptr;
    NibWindow window;
    EXPECT_EQ(paramErr, CreateNibReference(nullptr, &nib));
    EXPECT_EQ(paramErr, CreateNibReference("main", nullptr));
    EXPECT_EQ(paramErr, findNibWindow(nullptr, "MainWindow", &window));
    EXPECT_EQ(paramErr, findNibWindow(reinterpret_cast<IBNibRef>(&window), "MainWindow", &window));
    EXPECT_EQ(nullptr, nibText(nullptr));
    ASSERT_EQ(noErr, CreateNibReference("main", &nib));
    EXPECT_EQ(paramErr, findNibWindow(nib, nullptr, &window));
    EXPECT_EQ(paramErr, findNibWindow(nib, "MainWindow", nullptr));
}

}  // namespace

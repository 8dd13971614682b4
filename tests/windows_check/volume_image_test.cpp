// The kit's own volume over fake disk tools that only record their calls. After a failure at any
// step, everything made before it is removed.
#include "volume_image.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <vector>

#include "base/path_forms.h"
#include "interruption.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

class FakeDiskTools : public check::DiskTools {
  public:
    explicit FakeDiskTools(const TempTree& tree) : tree_(tree) {}

    void create_image(const std::wstring&, std::uint64_t) override {
        tree_.file(L"volume.vhdx", "image");  // a system may leave a file that it could not finish
        step("create");
    }
    unsigned attach(const std::wstring&, std::uint64_t) override {
        attached = true;
        step("attach");
        return 7;
    }
    void detach() noexcept override {
        calls.emplace_back("detach");
        attached = false;
        image_was_there = file_exists(tree_.path(L"volume.vhdx"));
    }
    void diskpart(const std::string& script) override {
        scripts.push_back(script);
        step("diskpart");
    }
    void delete_mount_point(const std::wstring&) noexcept override {
        calls.emplace_back("unmount");
    }
    wchar_t free_letter() override {
        step("letter");
        return L'Y';
    }
    bool drive_answers(const std::wstring& root) override {
        step("answers");
        return root == L"Y:\\";
    }

    std::size_t fails_at = SIZE_MAX;
    std::vector<std::string> calls;
    std::vector<std::string> scripts;
    bool attached = false;
    bool image_was_there = false;  // when the disk was detached

  private:
    void step(const char* name) {
        calls.emplace_back(name);
        if (calls.size() > fails_at)
            throw std::runtime_error(name);
    }
    const TempTree& tree_;
};

class VolumeImageTest : public ::testing::Test {
  protected:
    bool image_exists() const { return file_exists(tree.path(L"volume.vhdx")); }

    TempTree tree;
    FakeDiskTools tools{tree};
    std::wstring file = strip_long_path_prefix(tree.path(L"volume.vhdx"));
};

using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST_F(VolumeImageTest, TheImageIsCreatedMountedAndRemoved) {
    {
        check::VolumeImage image(tools, file);
        EXPECT_EQ(image.root(), L"Y:\\");
        EXPECT_TRUE(tools.attached);
        image.mount_second(L"\\\\?\\Y:\\special\\monte");
    }
    EXPECT_THAT(tools.calls, ElementsAre("create", "attach", "letter", "diskpart", "answers",
                                         "diskpart", "unmount", "detach"));
    EXPECT_FALSE(tools.attached);
    EXPECT_TRUE(tools.image_was_there);
    EXPECT_FALSE(image_exists());
}

TEST_F(VolumeImageTest, TheScriptsSelectTheAttachedDisk) {
    check::VolumeImage image(tools, file);
    image.mount_second(L"\\\\?\\Y:\\special\\monte");
    EXPECT_THAT(tools.scripts.at(0), ::testing::StartsWith("select disk 7\r\n"));
    EXPECT_THAT(tools.scripts.at(0), HasSubstr("assign letter=Y\r\n"));
    EXPECT_THAT(tools.scripts.at(1), ::testing::StrEq("select disk 7\r\nselect partition 2\r\n"
                                                      "assign mount=Y:\\special\\monte\r\n"));
    for (const std::string& script : tools.scripts)
        EXPECT_THAT(script, ::testing::Not(HasSubstr("clean")));
}

TEST_F(VolumeImageTest, AFailureAtAnyStepLeavesNothingBehind) {
    constexpr std::size_t steps = 5;
    for (std::size_t fails_at = 0; fails_at < steps; ++fails_at) {
        tools.calls.clear();
        tools.fails_at = fails_at;
        EXPECT_THROW(check::VolumeImage(tools, file), std::runtime_error) << fails_at;
        EXPECT_EQ(tools.calls.back(), "detach") << fails_at;
        EXPECT_FALSE(tools.attached) << fails_at;
        EXPECT_FALSE(image_exists()) << fails_at;
    }
    tools.calls.clear();
    tools.fails_at = steps;
    const check::VolumeImage image(tools, file);
    EXPECT_TRUE(image_exists());
}

TEST_F(VolumeImageTest, AFailedSecondMountIsUndoneWithTheImage) {
    {
        check::VolumeImage image(tools, file);
        tools.fails_at = 0;
        EXPECT_THROW(image.mount_second(L"\\\\?\\Y:\\special\\monte"), std::runtime_error);
    }
    EXPECT_THAT(tools.calls, ::testing::IsSupersetOf({"unmount", "detach"}));
    EXPECT_FALSE(image_exists());
}

TEST_F(VolumeImageTest, AnInterruptionStopsTheSetupAndLeavesNothingBehind) {
    check::interrupt();
    EXPECT_THROW(check::VolumeImage(tools, file), check::Interrupted);
    ResetEvent(check::interruption_event());  // the kit never resets it
    EXPECT_THAT(tools.calls, ElementsAre("create", "attach", "detach"));
    EXPECT_FALSE(image_exists());
}

}  // namespace
}  // namespace larkspine::testing

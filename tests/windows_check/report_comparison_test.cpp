// The kit's own walk and grouping over real files, and the differences that it reports for wrong
// reports.
#include "report_comparison.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/path_forms.h"
#include "base/win32_handle.h"
#include "report_reader.h"
#include "support/temp_tree.h"
#include "text.h"

namespace larkspine::testing {
namespace {

using check::compare_report;
using check::Difference;
using check::Names;
using check::Wrong;

class ReportComparisonTest : public ::testing::Test {
  protected:
    ReportComparisonTest() {
        tree.file(L"a", "same");
        tree.file(L"dossier\\B", "same");
        tree.file(L"c", "diff");
        tree.file(L"d", "other");
        tree.file(L"e", "other");
        tree.hard_link(L"z", tree.path(L"a"));
        tree.file(L"vide 1", "");
        tree.file(L"vide 2", "");
    }

    check::Reference reference() const {
        return make_reference(check::walk_files(tree.root(), shown));
    }
    // The report with these groups of names.
    std::string report(const std::vector<std::vector<std::wstring>>& groups) const {
        std::string bytes(check::report_head);
        std::uint64_t number = 0;
        for (const std::vector<std::wstring>& names : groups) {
            ++number;
            for (const std::wstring& name : names)
                bytes += check::render_row({number, name == names.front(), shown + L'\\' + name,
                                            name.starts_with(L"vide")      ? 0U
                                            : name == L"d" || name == L"e" ? 5U
                                                                           : 4U});
        }
        return bytes;
    }
    std::vector<Wrong> wrong(const std::string& bytes, Names names = Names::least) const {
        std::vector<Wrong> kinds;
        for (const Difference& difference : compare_report(bytes, reference(), names))
            kinds.push_back(difference.kind);
        return kinds;
    }

    TempTree tree;
    std::wstring shown = strip_long_path_prefix(tree.root());
};

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(ReportComparisonTest, TheRightReportHasNoDifference) {
    const std::string right = report({{L"a", L"dossier\\B"}, {L"d", L"e"}, {L"vide 1", L"vide 2"}});
    EXPECT_EQ(expected_report(reference(), Names::least, right), right);
    EXPECT_THAT(wrong(right), IsEmpty());
}

TEST_F(ReportComparisonTest, EveryGroupOfTheReferenceHoldsIdenticalContents) {
    // The contents are read by a helper that shares no code with the kit.
    const auto rows = check::read_report(expected_report(reference(), Names::least, "")).value();
    std::map<std::uint64_t, std::set<std::string>> contents;
    for (const check::ReportRow& row : rows)
        contents[row.group].insert(read_file(L"\\\\?\\" + row.path));
    EXPECT_EQ(contents.size(), 3u);
    for (const auto& [group, different] : contents)
        EXPECT_EQ(different.size(), 1u) << group;
}

TEST_F(ReportComparisonTest, OnlyOnAVolumeMayAReportUseAnyNameOfALinkedFile) {
    const std::string other = report({{L"d", L"e"}, {L"dossier\\B", L"z"}, {L"vide 1", L"vide 2"}});
    EXPECT_THAT(wrong(other, Names::any), IsEmpty());
    EXPECT_THAT(wrong(other, Names::least), ElementsAre(Wrong::format));
}

TEST_F(ReportComparisonTest, DifferentContentsInOneGroupAreReported) {
    EXPECT_THAT(wrong(report({{L"a", L"c", L"dossier\\B"}, {L"d", L"e"}, {L"vide 1", L"vide 2"}})),
                Contains(Wrong::mixed_group));
}

TEST_F(ReportComparisonTest, OneFileUnderTwoNamesIsReported) {
    EXPECT_THAT(wrong(report({{L"a", L"dossier\\B", L"z"}, {L"d", L"e"}, {L"vide 1", L"vide 2"}})),
                ElementsAre(Wrong::mixed_group));
}

TEST_F(ReportComparisonTest, APathThatIsGoneIsReported) {
    EXPECT_THAT(wrong(report({{L"a", L"dossier\\gone"}, {L"d", L"e"}, {L"vide 1", L"vide 2"}})),
                ElementsAre(Wrong::gone_path, Wrong::missing_file));
}

TEST_F(ReportComparisonTest, AMissingGroupIsReported) {
    EXPECT_THAT(wrong(report({{L"a", L"dossier\\B"}, {L"vide 1", L"vide 2"}})),
                ElementsAre(Wrong::missing_file, Wrong::missing_file));
}

TEST_F(ReportComparisonTest, AWrongOrderSizeOrHeaderIsReported) {
    EXPECT_THAT(wrong(report({{L"d", L"e"}, {L"a", L"dossier\\B"}, {L"vide 1", L"vide 2"}})),
                ElementsAre(Wrong::format));
    std::string bytes = report({{L"a", L"dossier\\B"}, {L"d", L"e"}, {L"vide 1", L"vide 2"}});
    bytes.replace(bytes.find(";5\r\n"), 4, ";6\r\n");
    EXPECT_THAT(wrong(bytes), ElementsAre(Wrong::format));
    EXPECT_THAT(wrong(""), ElementsAre(Wrong::format));
    EXPECT_THAT(wrong("x"), ElementsAre(Wrong::format));
}

TEST_F(ReportComparisonTest, AReportMayUseAFormerNameOfAFile) {
    check::Reference known = reference();
    known.add_former_name(shown + L"\\dossier\\gone", shown + L"\\dossier\\B");
    const std::string bytes =
        report({{L"a", L"dossier\\gone"}, {L"d", L"e"}, {L"vide 1", L"vide 2"}});
    EXPECT_THAT(compare_report(bytes, known, Names::any), IsEmpty());
}

TEST_F(ReportComparisonTest, AFileBelowALeftOutPathMustNotBeListed) {
    check::Reference known = reference();
    known.leave_out(shown + L"\\dossier");
    EXPECT_THAT(compare_report(report({{L"d", L"e"}, {L"vide 1", L"vide 2"}}), known, Names::least),
                IsEmpty());
    EXPECT_EQ(compare_report(report({{L"a", L"dossier\\B"}, {L"d", L"e"}, {L"vide 1", L"vide 2"}}),
                             known, Names::least)
                  .at(0)
                  .kind,
              Wrong::mixed_group);
}

TEST_F(ReportComparisonTest, ALockedFileIsInNoGroup) {
    const unique_handle lock = own_handle(
        CreateFileW(tree.path(L"d").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(lock);
    EXPECT_THAT(wrong(report({{L"a", L"dossier\\B"}, {L"vide 1", L"vide 2"}})), IsEmpty());
}

TEST_F(ReportComparisonTest, TheTextNamesEveryKindOfDifference) {
    const auto differences =
        compare_report(report({{L"a", L"c", L"dossier\\gone"}, {L"vide 1", L"vide 2"}}),
                       reference(), Names::least);
    const std::string text = told(differences);
    for (const char* part : {"chemin absent du disque", "contenus différents", "doublon manquant"})
        EXPECT_THAT(text, ::testing::HasSubstr(part));
}

}  // namespace
}  // namespace larkspine::testing

#include "app/statistics_report.h"

#include <gtest/gtest.h>
#include <iostream>
#include <sstream>
#include <string>

namespace larkspine::testing {
namespace {

// What is printed to std::wcout.
std::wstring printed(const ScanStatistics& statistics) {
    std::wstringbuf buffer;
    std::wstreambuf* const old = std::wcout.rdbuf(&buffer);
    print_statistics(statistics);
    std::wcout.rdbuf(old);
    return buffer.str();
}

std::wstring line(const std::wstring& text, int number) {
    std::wistringstream lines(text);
    std::wstring found;
    for (; number >= 0; --number)
        std::getline(lines, found);
    return found;
}

// All numbers differ, including those that are not printed.
ScanStatistics distinct() {
    ScanStatistics s;
    std::uint64_t next = 1'000;
    for (std::uint64_t ScanStatistics::*field : {&ScanStatistics::directories,
                                                 &ScanStatistics::files,
                                                 &ScanStatistics::candidates,
                                                 &ScanStatistics::sample_hashes_computed,
                                                 &ScanStatistics::full_hashes_computed,
                                                 &ScanStatistics::sample_hashes_reused,
                                                 &ScanStatistics::full_hashes_reused,
                                                 &ScanStatistics::byte_comparisons,
                                                 &ScanStatistics::hardlink_groups,
                                                 &ScanStatistics::hardlinks_collapsed,
                                                 &ScanStatistics::excluded_entries,
                                                 &ScanStatistics::empty_files_grouped,
                                                 &ScanStatistics::index_entries,
                                                 &ScanStatistics::journal_changes,
                                                 &ScanStatistics::failures,
                                                 &ScanStatistics::index_ms,
                                                 &ScanStatistics::enumeration_ms,
                                                 &ScanStatistics::analysis_ms,
                                                 &ScanStatistics::write_ms,
                                                 &ScanStatistics::total_ms})
        s.*field = ++next;
    return s;
}

TEST(StatisticsReportTest, EveryNumberStandsInItsPlace) {
    EXPECT_EQ(
        printed(distinct()),
        L"\n"
        L"Statistiques de performance :\n"
        L"  Index chargé : non\n"
        L"  Fast path inchangé : non\n"
        L"  Delta USN appliqué : non\n"
        L"  Fichiers : 1002, candidats : 1003, entrées index : 1013\n"
        L"  Hash sample calculés/réutilisés : 1004/1006\n"
        L"  Hash complets calculés/réutilisés : 1005/1007\n"
        L"  Comparaisons octet par octet : 1008\n"
        L"  Temps (ms) index/énumération/analyse/écriture/total : 1016/1017/1018/1019/1020\n");
}

TEST(StatisticsReportTest, EmptyStatisticsArePrintedAsZeros) {
    EXPECT_EQ(printed({}),
              L"\n"
              L"Statistiques de performance :\n"
              L"  Index chargé : non\n"
              L"  Fast path inchangé : non\n"
              L"  Delta USN appliqué : non\n"
              L"  Fichiers : 0, candidats : 0, entrées index : 0\n"
              L"  Hash sample calculés/réutilisés : 0/0\n"
              L"  Hash complets calculés/réutilisés : 0/0\n"
              L"  Comparaisons octet par octet : 0\n"
              L"  Temps (ms) index/énumération/analyse/écriture/total : 0/0/0/0/0\n");
}

TEST(StatisticsReportTest, EachFlagChangesOnlyItsOwnLine) {
    const auto lines_with = [](bool ScanStatistics::*flag) {
        ScanStatistics s;
        s.*flag = true;
        const std::wstring text = printed(s);
        return line(text, 2) + L"|" + line(text, 3) + L"|" + line(text, 4);
    };
    EXPECT_EQ(lines_with(&ScanStatistics::index_loaded),
              L"  Index chargé : oui|  Fast path inchangé : non|  Delta USN appliqué : non");
    EXPECT_EQ(lines_with(&ScanStatistics::fast_path_unchanged),
              L"  Index chargé : non|  Fast path inchangé : oui|  Delta USN appliqué : non");
    EXPECT_EQ(lines_with(&ScanStatistics::usn_delta_applied),
              L"  Index chargé : non|  Fast path inchangé : non|  Delta USN appliqué : oui");
    EXPECT_EQ(lines_with(&ScanStatistics::mft_used),
              L"  Index chargé : non|  Fast path inchangé : non|  Delta USN appliqué : non");
}

TEST(StatisticsReportTest, TheLargestNumbersArePlainDecimals) {
    ScanStatistics s;
    s.files = s.total_ms = UINT64_MAX;
    s.byte_comparisons = 1'234'567;
    const std::wstring text = printed(s);
    EXPECT_EQ(line(text, 5),
              L"  Fichiers : 18446744073709551615, candidats : 0, entrées index : 0");
    EXPECT_EQ(line(text, 8), L"  Comparaisons octet par octet : 1234567");
    EXPECT_EQ(line(text, 9),
              L"  Temps (ms) index/énumération/analyse/écriture/total : "
              L"0/0/0/0/18446744073709551615");
}

}  // namespace
}  // namespace larkspine::testing

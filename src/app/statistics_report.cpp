#include "app/statistics_report.h"

#include <iostream>

namespace larkspine {
namespace {

const wchar_t* yes_or_no(bool flag) {
    return flag ? L"oui" : L"non";
}

}  // namespace

void print_statistics(const ScanStatistics& s) {
    std::wcout << L"\nStatistiques de performance :\n"
               << L"  Index chargé : " << yes_or_no(s.index_loaded) << L'\n'
               << L"  Fast path inchangé : " << yes_or_no(s.fast_path_unchanged) << L'\n'
               << L"  Delta USN appliqué : " << yes_or_no(s.usn_delta_applied) << L'\n'
               << L"  Fichiers : " << s.files << L", candidats : " << s.candidates
               << L", entrées index : " << s.index_entries << L'\n'
               << L"  Hash sample calculés/réutilisés : " << s.sample_hashes_computed << L'/'
               << s.sample_hashes_reused << L'\n' << L"  Hash complets calculés/réutilisés : "
               << s.full_hashes_computed << L'/' << s.full_hashes_reused << L'\n'
               << L"  Comparaisons octet par octet : " << s.byte_comparisons << L'\n'
               << L"  Temps (ms) index/énumération/analyse/écriture/total : " << s.index_ms << L'/'
               << s.enumeration_ms << L'/' << s.analysis_ms << L'/' << s.write_ms << L'/'
               << s.total_ms << L'\n';
}

}  // namespace larkspine

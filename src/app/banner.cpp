#include "app/banner.h"

namespace larkspine {

std::wstring_view banner_text() noexcept {
    return LR"(
 _               _               _
| |    __ _ _ __| | _____ _ __  (_)_ __   ___
| |   / _` | '__| |/ / __| '_ \ | | '_ \ / _ \
| |__| (_| | |  |   <\__ \ |_) || | | | |  __/
|_____\__,_|_|  |_|\_\___/ .__/ |_|_| |_|\___|
                         |_|
)"
           L"Version 0.0.5\n"
           L"Auteur : Pelvane\n"
           L"Entreprise : Ostrell\n"
           L"----------------------------------------\n"
           L"\n";
}

}  // namespace larkspine

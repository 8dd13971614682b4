// Case folding of the comparison form of paths, one code unit at a time. Portable and pure; the
// same on every machine, whatever its locale.
//
// A unit is folded to its simple lower case where both have the same simple upper case, which is
// how NTFS compares names. So no two units are folded together that the file system tells apart:
// the Kelvin sign stays what it is, and so does the capital I with a dot. Units beyond the basic
// plane are pairs of surrogates, which are compared as they are, here and by NTFS.
#pragma once

namespace larkspine {

// The fold of a unit from 0x80 on.
[[nodiscard]] wchar_t fold_beyond_ascii(wchar_t unit) noexcept;

[[nodiscard]] inline wchar_t fold_code_unit(wchar_t unit) noexcept {
    if (unit < 0x80)
        return unit >= L'A' && unit <= L'Z' ? static_cast<wchar_t>(unit + (L'a' - L'A')) : unit;
    return fold_beyond_ascii(unit);
}

}  // namespace larkspine

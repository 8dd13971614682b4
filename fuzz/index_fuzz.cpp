// Any bytes are either refused or decoded to a snapshot that encodes to bytes of the same size and
// decodes to itself again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "index/index_format.h"
#include "support/snapshots.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr const wchar_t* root = L"\\\\?\\D:\\Photos";
    const auto bytes = std::as_bytes(std::span(data, size));
    const auto decoded = larkspine::detail::decode_index(bytes, root);
    if (!decoded)
        return 0;
    const auto encoded = larkspine::detail::encode_index(*decoded);
    if (!encoded || encoded->size != size)
        std::abort();
    const auto again = larkspine::detail::decode_index(encoded->span(), root);
    if (!again || !larkspine::testing::same_snapshot(*again, *decoded))
        std::abort();
    return 0;
}

// How often the host's list of index folders was asked for.
#pragma once

namespace larkspine::testing {

extern unsigned index_exclusions_calls;

}  // namespace larkspine::testing

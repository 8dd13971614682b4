#include "support/import_replacement.h"

#include <atomic>

namespace larkspine::testing {
namespace {

// Constant-initialised pointers to leaked tables: imports are called before main and while statics
// are destroyed, and the guard of a function-local static itself calls CloseHandle.
std::atomic<ImportHooks*> hooks_table{nullptr};
std::atomic<const RealImports*> real_table{nullptr};

template <typename Function>
Function real_function(const char* name) {
    const HMODULE kernel = GetModuleHandleA("kernel32.dll");  // the W form is replaced itself
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(kernel, name)));
}

template <typename Table>
Table* publish(std::atomic<Table*>& place, Table* made) {
    Table* expected = nullptr;
    if (place.compare_exchange_strong(expected, made))
        return made;
    delete made;
    return expected;
}

}  // namespace

ImportHooks& hooks() {
    if (ImportHooks* table = hooks_table.load())
        return *table;
    return *publish(hooks_table, new ImportHooks);
}

const RealImports& real_imports() {
    if (const RealImports* table = real_table.load())
        return *table;
    auto* made = new RealImports;
#define X(result, name, parameters, arguments) \
    made->name = real_function<decltype(made->name)>(#name);
    LARKSPINE_REPLACED_IMPORTS(X)
#undef X
    return *publish(real_table, static_cast<const RealImports*>(made));
}

}  // namespace larkspine::testing

#define X(result, name, parameters, arguments)                    \
    static result WINAPI replaced_##name parameters {             \
        if (const auto& hook = larkspine::testing::hooks().name)  \
            return hook arguments;                                \
        return larkspine::testing::real_imports().name arguments; \
    }                                                             \
    extern "C" {                                                  \
    extern result(WINAPI* __imp_##name) parameters;               \
    result(WINAPI* __imp_##name) parameters = replaced_##name;    \
    }
LARKSPINE_REPLACED_IMPORTS(X)
#undef X

// Symbols: unique and permanent, so they compare by pointer; gensym may be
// called from any thread (it takes a lock).
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "MaxsimApi.h"

namespace
{

struct SymbolTable
{
    std::mutex mutex;
    std::unordered_map<std::string, std::unique_ptr<t_symbol>> symbols;
    std::unordered_map<std::string, std::unique_ptr<char[]>> names;
};

// Never destroyed: symbols outlive every object that holds one.
SymbolTable& table()
{
    static SymbolTable* instance = new SymbolTable;
    return *instance;
}

}  // namespace

extern "C" t_symbol* gensym(const char* name)
{
    if (!name)
        name = "";
    SymbolTable& t = table();
    std::lock_guard<std::mutex> lock(t.mutex);
    auto& slot = t.symbols[name];
    if (!slot)
    {
        const std::size_t n = std::char_traits<char>::length(name) + 1;
        auto text = std::make_unique<char[]>(n);
        std::char_traits<char>::copy(text.get(), name, n);
        slot = std::make_unique<t_symbol>(t_symbol {text.get(), nullptr});
        t.names[name] = std::move(text);
    }
    return slot.get();
}

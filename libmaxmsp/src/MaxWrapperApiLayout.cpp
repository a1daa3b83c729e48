// Pins the Max structures to the sizes and offsets the kernel expects, on
// Windows x64 (long is 4 bytes) and on LP64 systems. Compiled in every build,
// so our own declarations and the official SDK's headers are held to the
// same figures.
#include <cstddef>
#include <type_traits>

#include "MaxWrapperApi.h"

namespace {

constexpr bool windows =
#if defined(_WIN32)
    true;
#else
    false;
#endif

constexpr std::size_t pick(std::size_t onWindows, std::size_t elsewhere) { return windows ? onWindows : elsewhere; }

static_assert(sizeof(void*) == 8, "the binding is built for 64-bit hosts only");
static_assert(sizeof(long) == pick(4, 8));
static_assert(sizeof(t_atom_long) == 8 && sizeof(t_atom_float) == 8 && sizeof(t_max_err) == 8);
static_assert(sizeof(t_ptr_int) == 8 && sizeof(t_int32) == 4 && sizeof(t_fourcc) == 4);

static_assert(sizeof(t_symbol) == 16);
static_assert(offsetof(t_symbol, s_name) == 0 && offsetof(t_symbol, s_thing) == 8);

static_assert(sizeof(union word) == 8);
static_assert(sizeof(t_atom) == 16 && alignof(t_atom) == 8);
static_assert(offsetof(t_atom, a_type) == 0 && offsetof(t_atom, a_w) == 8);

static_assert(sizeof(t_messlist) == 24);
static_assert(sizeof(t_object) == 32);
static_assert(offsetof(t_object, o_messlist) == 0 && offsetof(t_object, o_magic) == 8);
static_assert(offsetof(t_object, o_inlet) == 16 && offsetof(t_object, o_outlet) == 24);

static_assert(sizeof(t_pxobject) == pick(56, 64) && alignof(t_pxobject) == 8);
static_assert(offsetof(t_pxobject, z_ob) == 0 && offsetof(t_pxobject, z_in) == 32);
static_assert(offsetof(t_pxobject, z_proxy) == 40 && offsetof(t_pxobject, z_disabled) == 48);
static_assert(offsetof(t_pxobject, z_count) == pick(52, 56) && offsetof(t_pxobject, z_misc) == pick(54, 58));

static_assert(sizeof(t_class) == pick(144, 152));
static_assert(offsetof(t_class, c_flags) == 64 && sizeof(((t_class*)nullptr)->c_flags) == pick(4, 8));
static_assert(offsetof(t_class, c_messlist) == pick(72, 80));
static_assert(offsetof(t_class, c_superclass) == pick(136, 144));

static_assert(A_LONG == 1 && A_FLOAT == 2 && A_SYM == 3 && A_OBJ == 4 && A_GIMME == 8 && A_CANT == 9);
static_assert(A_SEMI == 10 && A_COMMA == 11 && A_DOLLAR == 12 && A_DOLLSYM == 13);
static_assert(CLASS_FLAG_NEWDICTIONARY == 4 && ATTR_SET_DEFER_LOW == 0x04000000 && ATTR_SET_OPAQUE_USER == 0x200);
static_assert(Z_NO_INPLACE == 1 && Z_MC_INLETS == 32 && ASSIST_INLET == 1 && ASSIST_OUTLET == 2);
static_assert(MAX_PATH_CHARS == 2048 && MAX_FILENAME_CHARS == 512);

} // namespace

// Our own declarations of the part of the Max C API the binding and the
// simulator use, for builds without the official SDK. Names, types, struct
// layouts and constant values are the SDK's (MaxWrapperApiLayout.cpp pins
// the layouts; with the SDK, MaxWrapperApiCheck.cpp compares every function
// type), so a binding built against either header set is the same binary.
#pragma once

#include <cstddef>
#include <cstdint>

#include "MaxWrapperApiList.h"

#if defined(_WIN32)
#define C74_EXPORT __declspec(dllexport)
#else
#define C74_EXPORT __attribute__((visibility("default")))
#endif

extern "C" {

// ---------------------------------------------------------------------------
// Scalar types. `long` stays the platform's long wherever the SDK says long.

typedef intptr_t t_atom_long;  // long long on Windows x64, long elsewhere
typedef double t_atom_float;
typedef t_atom_long t_max_err;
typedef intptr_t t_ptr_int;
typedef uintptr_t t_ptr_uint;
typedef t_ptr_int t_int;
typedef t_ptr_uint t_ptr_size;
typedef t_ptr_uint t_getbytes_size;
typedef int32_t t_int32;
typedef uint32_t t_uint32;
typedef t_uint32 t_fourcc;
typedef uint8_t t_bool;
typedef int16_t t_filepath;
typedef char* t_ptr;
typedef char** t_handle;
typedef double t_sample;

// Opaque kernel objects the API hands around as void.
typedef void t_outlet;
typedef void t_inlet;
typedef void t_clock;
typedef void t_qelem;
typedef void t_qelem;
typedef struct _dictionary t_dictionary;

typedef void* (*method)(void*);

// ---------------------------------------------------------------------------
// Structures (see MaxWrapperApiLayout.cpp for the pinned sizes and offsets).

struct object;

typedef struct symbol
{
    char* s_name;            // never modified
    struct object* s_thing;  // object bound to the symbol
} t_symbol;

typedef struct messlist
{
    t_symbol* m_sym;
    method m_fun;
    char m_type[8];
} t_messlist;

typedef struct object
{
    t_messlist* o_messlist;
    t_ptr_int o_magic;
    t_inlet* o_inlet;
    t_outlet* o_outlet;
} t_object;

union word
{
    t_atom_long w_long;
    t_atom_float w_float;
    t_symbol* w_sym;
    t_object* w_obj;
};

typedef struct atom
{
    short a_type;
    union word a_w;
} t_atom;

typedef struct t_pxobject
{
    t_object z_ob;
    long z_in;
    void* z_proxy;
    long z_disabled;  // non-zero while muted
    short z_count;    // number of signal inlets
    short z_misc;     // Z_* flags
} t_pxobject;

typedef struct maxclass
{
    t_symbol* c_sym;
    t_object** c_freelist;
    method c_freefun;
    t_getbytes_size c_size;
    char c_tiny;
    char c_noinlet;
    t_symbol* c_filename;
    t_messlist* c_newmess;
    method c_menufun;
    long c_flags;
    long c_messcount;
    t_messlist* c_messlist;
    void* c_attributes;
    void* c_extra;
    long c_obexoffset;
    void* c_methods;
    method c_attr_get;
    method c_attr_gettarget;
    method c_attr_getnames;
    struct maxclass* c_superclass;
} t_class;

typedef void (*t_perfroutine64)(t_object* x, t_object* dsp64, double** ins, long numins, double** outs,
                                long numouts, long sampleframes, long flags, void* userparam);

// ---------------------------------------------------------------------------
// Constants.

enum e_max_atomtypes
{
    A_NOTHING = 0,
    A_LONG,
    A_FLOAT,
    A_SYM,
    A_OBJ,
    A_DEFLONG,
    A_DEFFLOAT,
    A_DEFSYM,
    A_GIMME,
    A_CANT,
    A_SEMI,
    A_COMMA,
    A_DOLLAR,
    A_DOLLSYM,
    A_GIMMEBACK,
    A_DEFER = 0x41,
    A_USURP = 0x42,
    A_DEFER_LOW = 0x43,
    A_USURP_LOW = 0x44
};

enum e_max_class_flags
{
    CLASS_FLAG_BOX = 0x00000001,
    CLASS_FLAG_POLYGLOT = 0x00000002,
    CLASS_FLAG_NEWDICTIONARY = 0x00000004,
    CLASS_FLAG_REGISTERED = 0x00000008,
    CLASS_FLAG_UIOBJECT = 0x00000010,
    CLASS_FLAG_ALIAS = 0x00000020,
    CLASS_FLAG_DO_NOT_PARSE_ATTR_ARGS = 0x00000080,
    CLASS_FLAG_DO_NOT_ZERO = 0x00000100,
    CLASS_FLAG_NOATTRIBUTES = 0x00010000,
    CLASS_FLAG_OWNATTRIBUTES = 0x00020000,
    CLASS_FLAG_PARAMETER = 0x00040000
};

enum e_max_attrflags
{
    ATTR_FLAGS_NONE = 0x00000000,
    ATTR_GET_OPAQUE = 0x00000001,
    ATTR_SET_OPAQUE = 0x00000002,
    ATTR_GET_OPAQUE_USER = 0x00000100,
    ATTR_SET_OPAQUE_USER = 0x00000200,
    ATTR_SET_DEFER = 0x01000000,
    ATTR_SET_USURP = 0x02000000,
    ATTR_SET_DEFER_LOW = 0x04000000,
    ATTR_SET_USURP_LOW = 0x08000000
};

enum e_max_errorcodes
{
    MAX_ERR_NONE = 0,
    MAX_ERR_GENERIC = -1,
    MAX_ERR_INVALID_PTR = -2,
    MAX_ERR_DUPLICATE = -3,
    MAX_ERR_OUT_OF_MEM = -4
};

enum
{
    Z_NO_INPLACE = 1,
    Z_PUT_LAST = 2,
    Z_PUT_FIRST = 4,
    Z_IGNORE_DISABLE = 8,
    Z_DONT_ADD = 16,
    Z_MC_INLETS = 32
};

#define ASSIST_INLET 1
#define ASSIST_OUTLET 2
#define MAGIC 1758379419L
#define OB_MAGIC MAGIC
#define MAX_PATH_CHARS 2048
#define MAX_FILENAME_CHARS 512
#define MSG_MAXARG 7

#define CLASS_BOX gensym("box")
#define CLASS_NOBOX gensym("nobox")
#define dsp_setup z_dsp_setup
#define dsp_free z_dsp_free

// ---------------------------------------------------------------------------
// Functions (MaxWrapperApiList.h).

#define MAXWRAPPER_DECLARE(returnType, name, parameters, library) returnType name parameters;
MAXWRAPPER_ALL_FUNCTIONS(MAXWRAPPER_DECLARE)
#undef MAXWRAPPER_DECLARE

C74_EXPORT void ext_main(void* r);

}  // extern "C"

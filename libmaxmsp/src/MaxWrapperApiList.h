// The Max C API functions this project uses, one X(return, name, parameters,
// library) row each. The same list declares them when we build without the
// official SDK (MaxWrapperOwnApi.h), checks them against the SDK's own
// declarations when we build with it (MaxWrapperApiCheck.cpp), and gives the
// simulator its export tables (one per Windows DLL).
//
// Parameter types follow the SDK exactly: `long` is the platform's long
// (4 bytes on Windows x64, 8 on Linux and macOS).
#ifndef MAXWRAPPER_API_LIST_H
#define MAXWRAPPER_API_LIST_H

// Functions with a fixed parameter list.
#define MAXWRAPPER_MAXAPI_FUNCTIONS(X)                                                                              \
    X(t_symbol*, gensym, (const char*), MaxAPI)                                                                    \
    X(t_max_err, class_addattr, (t_class*, t_object*), MaxAPI)                                                     \
    X(t_object*, attr_offset_new, (const char*, const t_symbol*, long, const method, const method, long), MaxAPI)  \
    X(t_max_err, class_attr_addattr_parse, (t_class*, const char*, const char*, t_symbol*, long, const char*),      \
      MaxAPI)                                                                                                       \
    X(t_max_err, attr_addfilter_clip, (void*, double, double, long, long), MaxAPI)                                 \
    X(void*, class_attr_get, (t_class*, t_symbol*), MaxAPI)                                                        \
    X(t_max_err, class_register, (t_symbol*, t_class*), MaxAPI)                                                    \
    X(t_max_err, class_parameter_init, (t_class*), MaxAPI)                                                         \
    X(t_symbol*, class_nameget, (t_class*), MaxAPI)                                                                \
    X(void*, object_alloc, (t_class*), MaxAPI)                                                                     \
    X(t_max_err, object_free, (void*), MaxAPI)                                                                     \
    X(void, freeobject, (void*), MaxAPI)                                                                           \
    X(t_symbol*, object_classname, (void*), MaxAPI)                                                                \
    X(void*, object_method_imp, (void*, void*, void*, void*, void*, void*, void*, void*, void*, void*), MaxAPI)    \
    X(t_max_err, object_attr_setlong, (void*, t_symbol*, t_atom_long), MaxAPI)                                     \
    X(t_atom_long, object_attr_getlong, (void*, t_symbol*), MaxAPI)                                                \
    X(t_max_err, object_attr_setvalueof, (void*, t_symbol*, long, t_atom*), MaxAPI)                                \
    X(t_max_err, object_obex_store, (void*, t_symbol*, t_object*), MaxAPI)                                         \
    X(t_max_err, object_obex_lookup, (void*, t_symbol*, t_object**), MaxAPI)                                       \
    X(void, object_obex_dumpout, (void*, t_symbol*, long, t_atom*), MaxAPI)                                        \
    X(long, attr_args_offset, (short, t_atom*), MaxAPI)                                                            \
    X(void, attr_args_process, (void*, short, t_atom*), MaxAPI)                                                    \
    X(t_dictionary*, object_dictionaryarg, (long, t_atom*), MaxAPI)                                                \
    X(void, attr_dictionary_process, (void*, t_dictionary*), MaxAPI)                                               \
    X(long, dictionary_hasentry, (const t_dictionary*, t_symbol*), MaxAPI)                                         \
    X(t_max_err, dictionary_getatom, (const t_dictionary*, t_symbol*, t_atom*), MaxAPI)                            \
    X(t_max_err, dictionary_getatoms, (const t_dictionary*, t_symbol*, long*, t_atom**), MaxAPI)                   \
    X(t_max_err, dictionary_getlong, (const t_dictionary*, t_symbol*, t_atom_long*), MaxAPI)                       \
    X(void*, outlet_new, (void*, const char*), MaxAPI)                                                             \
    X(void*, outlet_bang, (t_outlet*), MaxAPI)                                                                     \
    X(void*, outlet_anything, (t_outlet*, t_symbol*, short, t_atom*), MaxAPI)                                      \
    X(t_atom_long, atom_getlong, (const t_atom*), MaxAPI)                                                          \
    X(t_atom_float, atom_getfloat, (const t_atom*), MaxAPI)                                                        \
    X(t_symbol*, atom_getsym, (const t_atom*), MaxAPI)                                                             \
    X(long, atom_gettype, (const t_atom*), MaxAPI)                                                                 \
    X(t_max_err, atom_setlong, (t_atom*, t_atom_long), MaxAPI)                                                     \
    X(t_max_err, atom_setfloat, (t_atom*, double), MaxAPI)                                                         \
    X(t_max_err, atom_setsym, (t_atom*, t_symbol*), MaxAPI)                                                        \
    X(t_max_err, atom_gettext, (long, t_atom*, long*, char**, long), MaxAPI)                                       \
    X(t_max_err, atom_setparse, (long*, t_atom**, const char*), MaxAPI)                                            \
    X(void*, defer, (void*, method, t_symbol*, short, t_atom*), MaxAPI)                                            \
    X(void*, defer_low, (void*, method, t_symbol*, short, t_atom*), MaxAPI)                                        \
    X(void*, defer_medium, (void*, method, t_symbol*, short, t_atom*), MaxAPI)                                     \
    X(t_clock*, clock_new, (void*, method), MaxAPI)                                                                \
    X(void, clock_delay, (t_clock*, long), MaxAPI)                                                                 \
    X(void, clock_unset, (t_clock*), MaxAPI)                                                                       \
    X(void*, qelem_new, (void*, method), MaxAPI)                                                                   \
    X(void, qelem_set, (t_qelem*), MaxAPI)                                                                         \
    X(void, qelem_unset, (t_qelem*), MaxAPI)                                                                       \
    X(void, qelem_free, (t_qelem*), MaxAPI)                                                                        \
    X(short, systhread_ismainthread, (void), MaxAPI)                                                               \
    X(short, locatefile_extended, (char*, short*, t_fourcc*, const t_fourcc*, short), MaxAPI)                      \
    X(short, path_topathname, (const short, const char*, char*), MaxAPI)                                           \
    X(short, path_frompathname, (const char*, short*, char*), MaxAPI)                                              \
    X(short, open_dialog, (char*, short*, t_fourcc*, t_fourcc*, short), MaxAPI)                                    \
    X(short, saveasdialog_extended, (char*, short*, t_fourcc*, t_fourcc*, short), MaxAPI)                          \
    X(short, maxversion, (void), MaxAPI)                                                                           \
    X(t_ptr, sysmem_newptr, (t_ptr_size), MaxAPI)                                                                  \
    X(t_ptr, sysmem_newptrclear, (t_ptr_size), MaxAPI)                                                             \
    X(void, sysmem_freeptr, (void*), MaxAPI)                                                                       \
    X(char*, getbytes, (t_getbytes_size), MaxAPI)                                                                  \
    X(void, freebytes, (void*, t_getbytes_size), MaxAPI)

#define MAXWRAPPER_MAXAUDIO_FUNCTIONS(X)                                                                            \
    X(void, class_dspinit, (t_class*), MaxAudio)                                                                   \
    X(void, z_dsp_setup, (t_pxobject*, long), MaxAudio)                                                            \
    X(void, z_dsp_free, (t_pxobject*), MaxAudio)                                                                   \
    X(void, dsp_add64, (t_object*, t_object*, t_perfroutine64, long, void*), MaxAudio)                             \
    X(float, sys_getsr, (void), MaxAudio)                                                                          \
    X(int, sys_getblksize, (void), MaxAudio)

// Variadic functions: the fixed part of the parameter list, then "...".
#define MAXWRAPPER_MAXAPI_VARIADIC_FUNCTIONS(X)                                                                     \
    X(t_class*, class_new, (const char*, const method, const method, long, const method, short, ...), MaxAPI)     \
    X(t_max_err, class_addmethod, (t_class*, const method, const char*, ...), MaxAPI)                              \
    X(void, object_post, (t_object*, const char*, ...), MaxAPI)                                                    \
    X(void, object_error, (t_object*, const char*, ...), MaxAPI)                                                   \
    X(void, object_warn, (t_object*, const char*, ...), MaxAPI)                                                    \
    X(void, object_bug, (t_object*, const char*, ...), MaxAPI)

#define MAXWRAPPER_ALL_FUNCTIONS(X)                                                                                 \
    MAXWRAPPER_MAXAPI_FUNCTIONS(X)                                                                                  \
    MAXWRAPPER_MAXAPI_VARIADIC_FUNCTIONS(X)                                                                         \
    MAXWRAPPER_MAXAUDIO_FUNCTIONS(X)

#endif

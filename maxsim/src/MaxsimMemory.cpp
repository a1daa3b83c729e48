// The kernel's allocator: one heap for sysmem and getbytes, as in Max.
#include <cstdlib>

#include "MaxsimApi.h"

extern "C" {

t_ptr sysmem_newptr(t_ptr_size size) { return static_cast<t_ptr>(std::malloc(size ? size : 1)); }
t_ptr sysmem_newptrclear(t_ptr_size size) { return static_cast<t_ptr>(std::calloc(1, size ? size : 1)); }
void sysmem_freeptr(void* p) { std::free(p); }
char* getbytes(t_getbytes_size size) { return sysmem_newptr(size); }
void freebytes(void* p, t_getbytes_size) { std::free(p); }

}  // extern "C"

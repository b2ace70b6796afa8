// The one translation unit that compiles tinyobjloader's implementation (a single-header library).
#define TINYOBJLOADER_IMPLEMENTATION
#include <tiny_obj_loader.h>

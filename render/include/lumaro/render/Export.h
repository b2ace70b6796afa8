#pragma once

// Marks the classes and functions that LumaroRender exports from its DLL.
#if defined(_WIN32)
#if defined(LUMARO_RENDER_BUILDING)
#define LUMARO_RENDER_API __declspec(dllexport)
#else
#define LUMARO_RENDER_API __declspec(dllimport)
#endif
#else
#define LUMARO_RENDER_API __attribute__((visibility("default")))
#endif

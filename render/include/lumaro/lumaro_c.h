/**
 * @file lumaro_c.h
 * @brief The C interface of LumaroRender.dll: any compiler, any language with a C foreign-function
 * interface.
 *
 * A host creates a renderer, adds point-cloud stores to it, chooses a view and a mode, loads,
 * renders and reads the picture back (or writes it as a PNG file), and picks points in it.
 *
 * Conventions:
 * - Status codes: 0 success; a positive value where a function says so (a miss, a timeout); -1
 *   failure, with the reason in lumaro_last_error().
 * - No exception and no C++ type crosses this interface. Handles are opaque.
 * - Strings are UTF-8, paths included.
 * - Bad arguments (NULL handles or strings, a size of 0, an unknown mode, a store that cannot be
 *   opened) are failures with a message, never a crash.
 * - Threads: a renderer and its clouds belong to the thread that created the renderer; call its
 *   functions from that thread only. lumaro_last_error() is per thread. lumaro_thumbnail and
 *   lumaro_version may be called from any thread.
 * - Coordinates: store coordinates (the coordinates of the first store added, z up), as doubles.
 */
#ifndef LUMARO_C_H
#define LUMARO_C_H

#include <stddef.h>
#include <stdint.h>

/**
 * @def LUMARO_C_API
 * Marks the functions of this interface: exported from LumaroRender.dll while it is built, imported
 * from it by hosts.
 */
#if defined(_WIN32)
#if defined(LUMARO_RENDER_BUILDING)
#define LUMARO_C_API __declspec(dllexport)
#else
#define LUMARO_C_API __declspec(dllimport)
#endif
#else
#define LUMARO_C_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** A renderer: an off-screen Direct3D 11 device, a camera and a scene of point clouds. */
typedef struct lumaro_renderer lumaro_renderer;
/** A point cloud of a renderer (owned by it). */
typedef struct lumaro_cloud lumaro_cloud;

/**
 * The message of the last failure of a function called on this thread, in UTF-8; "" after a
 * success. The text stays valid until the next call of a function of this interface on this thread.
 */
LUMARO_C_API const char* lumaro_last_error(void);

/** The library's version, "MAJOR.MINOR.PATCH". */
LUMARO_C_API const char* lumaro_version(void);

/**
 * Creates a renderer whose pictures are width x height pixels (each 1 to 16384), with a white
 * background and the rgb mode. Returns NULL on failure (no Direct3D 11 device, a size out of range).
 */
LUMARO_C_API lumaro_renderer* lumaro_renderer_create(uint32_t width, uint32_t height);

/** Stops every loading thread of the renderer and frees it with its clouds. NULL is fine. */
LUMARO_C_API void lumaro_renderer_destroy(lumaro_renderer* renderer);

/**
 * Opens the store at `location_utf8` and adds it to the renderer's scene, loading at most
 * `point_budget` points (at least 1). A location is what the lumaro command takes: a Potree 2.0 or
 * EPT folder, its metadata.json or ept.json, a COPC file, or an http(s):// or s3:// URL of one
 * of these.
 * The first store's reference position is the origin of the scene; later stores are placed by
 * theirs, so that stores of one site line up. Several clouds share the smallest of their budgets.
 * The cloud is owned by the renderer; NULL on failure.
 */
LUMARO_C_API lumaro_cloud* lumaro_renderer_add_cloud(lumaro_renderer* renderer, const char* location_utf8,
                                                     uint64_t point_budget);

/**
 * The mode the points are coloured in, by the names lumaro render takes: "rgb" (the cloud's own
 * colour, or its intensity as grey), "intensity", "normal", "uniform", "elevation" (height over
 * the clouds' height through the colour map), "tomographic", "tomographic-dark", "mesh-distance"
 * (after lumaro_renderer_set_distance_mesh), "classification" (each point in its class's colour,
 * lumaro_renderer_set_class_color).
 */
LUMARO_C_API int lumaro_renderer_set_mode(lumaro_renderer* renderer, const char* mode);

/**
 * Shows (`visible` not 0) or hides (0) the points of a class, 0 to 255 (the LAS classification),
 * in every mode: a hidden class's points are not drawn, picked or written. Every class is shown
 * at first.
 */
LUMARO_C_API int lumaro_renderer_set_class_visible(lumaro_renderer* renderer, uint32_t class_index, int visible);

/**
 * The colour of a class, 0 to 255, in the "classification" mode, as 0xRRGGBB. The standard LAS
 * classes 0 to 18 have distinct colours at first (ground brown, vegetation green, buildings red,
 * water blue, ...), the others a fixed set of further distinct colours.
 */
LUMARO_C_API int lumaro_renderer_set_class_color(lumaro_renderer* renderer, uint32_t class_index, uint32_t rgb);

/**
 * Eye-dome lighting: every pixel darkened by how much nearer to the eye its neighbours at
 * `radius_px` pixels (1 to 16) are, by `strength` (at least 0; 1 is a good start), so that the
 * shape of a scan shows without normals or colours. Off (`enabled` 0) at first.
 */
LUMARO_C_API int lumaro_renderer_set_eye_dome_lighting(lumaro_renderer* renderer, int enabled, double strength,
                                                       double radius_px);

/**
 * How overlapping points are drawn: 0 opaque round discs (at first), 1 high-quality splats, where
 * points at nearly the same depth blend by weight. Picking and the points written are the same in
 * both.
 */
LUMARO_C_API int lumaro_renderer_set_splat_quality(lumaro_renderer* renderer, int high_quality);

/**
 * The colour map of the elevation and distance modes, by name: "turbo", "inferno", "magma",
 * "viridis", "plasma", "gray", "bone", "red-white-blue", "level-of-accuracy", "pass-fail",
 * "traffic-light", "cool-warm", "level-of-accuracy-imperial".
 */
LUMARO_C_API int lumaro_renderer_set_color_map(lumaro_renderer* renderer, const char* color_map);

/** The background colour as 0xRRGGBB (opaque). */
LUMARO_C_API int lumaro_renderer_set_background(lumaro_renderer* renderer, uint32_t background_rgb);

/** The size of the pictures, width x height pixels, each 1 to 16384. */
LUMARO_C_API int lumaro_renderer_set_size(lumaro_renderer* renderer, uint32_t width, uint32_t height);

/** The oblique view of all clouds that thumbnails show, in perspective. */
LUMARO_C_API int lumaro_renderer_view_overview(lumaro_renderer* renderer);

/**
 * The map view: orthographic, looking down -z with +y up, the clouds' x/y extent fitted to the
 * picture.
 */
LUMARO_C_API int lumaro_renderer_view_top(lumaro_renderer* renderer);

/**
 * A perspective view from `eye` towards `target` (store coordinates, z up) with a vertical field
 * of view of `fov_y_degrees` (above 0, below 180). Near and far planes follow the clouds.
 */
LUMARO_C_API int lumaro_renderer_look_at(lumaro_renderer* renderer, const double eye[3], const double target[3],
                                         double fov_y_degrees);

/**
 * Loads every cloud for the current view and mode, on the calling thread, and waits until all
 * loading has settled. `timeout_ms` bounds the wait (0: no bound). Returns 0 when everything
 * loaded, 1 on timeout (the clouds keep what loading had published by then, at most half a second
 * before the timeout), 2 when a part of a store
 * could not be read (the rest is loaded; lumaro_last_error() names the file), -1 on failure.
 * Call again after changing the view or the mode.
 */
LUMARO_C_API int lumaro_renderer_load(lumaro_renderer* renderer, uint32_t timeout_ms);

/** Draws one frame of what is loaded. */
LUMARO_C_API int lumaro_renderer_render(lumaro_renderer* renderer);

/**
 * Copies the last frame into `rgba`: height rows of width RGBA8 pixels (red first), top row first,
 * `stride` bytes from one row to the next (at least 4 x width).
 */
LUMARO_C_API int lumaro_renderer_read_color(lumaro_renderer* renderer, uint8_t* rgba, size_t stride);

/**
 * Copies the depth buffer of the last frame into `depths`: height rows of width floats (the
 * device's depth, 0 to 1; where nothing was drawn, the far value), top row first, `stride` bytes
 * from one row to the next (at least 4 x width).
 */
LUMARO_C_API int lumaro_renderer_read_depth(lumaro_renderer* renderer, float* depths, size_t stride);

/**
 * The point drawn nearest to the eye among the pixels around (x, y) of the last frame: within
 * `tolerance_px` pixels (0: the pixel itself). Returns 0 on a hit, with the point in store
 * coordinates in `xyz`, 1 on a miss (xyz untouched), -1 on failure (a pixel outside the picture).
 */
LUMARO_C_API int lumaro_renderer_pick(lumaro_renderer* renderer, uint32_t x, uint32_t y, uint32_t tolerance_px,
                                      double xyz[3]);

/** Renders a frame and writes it as a PNG file (an existing file is replaced). */
LUMARO_C_API int lumaro_renderer_write_png(lumaro_renderer* renderer, const char* path_utf8);

/**
 * Renders a frame and writes every drawn pixel as a line "x y z red green blue alpha" in store
 * coordinates, after the header line "X Y Z Red Green Blue Alpha".
 */
LUMARO_C_API int lumaro_renderer_write_points(lumaro_renderer* renderer, const char* path_utf8);

/**
 * Draws a Wavefront OBJ mesh among the points. Its coordinates are store coordinates (those of the
 * first store added; add the stores first).
 */
LUMARO_C_API int lumaro_renderer_add_mesh(lumaro_renderer* renderer, const char* obj_path_utf8);

/**
 * The mesh whose distance the "mesh-distance" mode colours by: a Wavefront OBJ file in store
 * coordinates (add the stores first). Distances below a face are negative.
 */
LUMARO_C_API int lumaro_renderer_set_distance_mesh(lumaro_renderer* renderer, const char* obj_path_utf8);

/**
 * The distances spread over the colour map in the "mesh-distance" mode (points outside are not
 * drawn): min below max.
 */
LUMARO_C_API int lumaro_renderer_set_distance_range(lumaro_renderer* renderer, double min_distance,
                                                    double max_distance);

/**
 * The loader threads the renderer's clouds share: that many nodes are read and decoded at once (0:
 * one per hardware thread, the default; 1: each cloud reads its nodes on the loading thread). The
 * nodes loaded are the same whatever the number; the next lumaro_renderer_load uses it.
 */
LUMARO_C_API int lumaro_renderer_set_loader_threads(lumaro_renderer* renderer, uint32_t threads);

/**
 * The point budget the renderer's clouds share (at least 1), raised or lowered: it replaces the
 * smallest of the clouds' own budgets, also for clouds added later. A lower budget drops the least
 * important points at once; the next lumaro_renderer_load fills a higher one.
 */
LUMARO_C_API int lumaro_renderer_set_point_budget(lumaro_renderer* renderer, uint64_t point_budget);

/**
 * The memory in bytes that the decoded nodes cached for all stores of all renderers may take
 * together (1 GiB at first); when a node does not fit, the least recently used nodes leave,
 * whichever store they belong to. A lower limit takes effect at once. Any thread may call it.
 */
LUMARO_C_API int lumaro_set_cache_limit(uint64_t bytes);

/** The number of points of a cloud loaded for drawing now. */
LUMARO_C_API uint64_t lumaro_cloud_loaded_points(const lumaro_cloud* cloud);

/** The number of points the cloud's store holds. */
LUMARO_C_API uint64_t lumaro_cloud_total_points(const lumaro_cloud* cloud);

/**
 * How stores in S3 buckets (s3://BUCKET/PATH) opened from now on are reached, instead of the
 * environment's AWS settings: the keys (`session_token` may be NULL; NULL keys: from the
 * environment again; empty keys: unsigned requests to a public bucket), the region (NULL: from the
 * environment, else us-east-1) and the endpoint of an S3-compatible service, addressed path-style
 * (NULL: from the environment, else AWS's own addresses). Any thread.
 */
LUMARO_C_API int lumaro_set_s3_access(const char* access_key_id, const char* secret_access_key,
                                      const char* session_token, const char* region, const char* endpoint_url);

/**
 * Extra header lines ("Name: value", one a line; a bearer token, say) sent with every request of
 * the remote stores opened from now on, besides those of LUMARO_HTTP_HEADERS. NULL or "" sends
 * none. Any thread.
 */
LUMARO_C_API int lumaro_set_http_headers(const char* header_lines);

/**
 * Writes a thumbnail of the store at `location_utf8` as a PNG file: width x height pixels (each 1
 * to 16384) of the oblique overview on the background 0xRRGGBB, loaded down to octree level
 * `max_level`. An existing file is replaced.
 */
LUMARO_C_API int lumaro_thumbnail(const char* location_utf8, const char* png_path_utf8, uint32_t width, uint32_t height,
                                  uint32_t background_rgb, uint32_t max_level);

#ifdef __cplusplus
}
#endif

#endif /* LUMARO_C_H */

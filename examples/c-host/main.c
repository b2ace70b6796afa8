/* Renders a point-cloud store, reads the picture back, picks the point in its middle and makes a
 * thumbnail, through the C interface of LumaroRender.dll:
 *   c-host STORE PICTURE.png THUMBNAIL.png
 * Built with any C compiler: cc -I<package>/include main.c <package>/lib/<import library>. */
#include <lumaro/lumaro_c.h>

#include <stdio.h>
#include <stdlib.h>

#define WIDTH 160
#define HEIGHT 120

static int fail(const char* what)
{
    fprintf(stderr, "c-host: %s: %s\n", what, lumaro_last_error());
    return 1;
}

int main(int argc, char** argv)
{
    lumaro_renderer* renderer;
    uint8_t* rgba;
    size_t drawn = 0;
    size_t pixel;
    double xyz[3];
    int status;

    if (argc != 4) {
        fprintf(stderr, "usage: c-host STORE PICTURE.png THUMBNAIL.png\n");
        return 2;
    }
    printf("LumaroRender %s\n", lumaro_version());

    renderer = lumaro_renderer_create(WIDTH, HEIGHT);
    if (renderer == NULL)
        return fail("create");
    if (lumaro_renderer_add_cloud(renderer, argv[1], 1000000) == NULL)
        return fail("add_cloud");
    if (lumaro_renderer_set_background(renderer, 0x000000) != 0 || lumaro_renderer_set_mode(renderer, "rgb") != 0
        || lumaro_renderer_view_top(renderer) != 0)
        return fail("set up");
    status = lumaro_renderer_load(renderer, 60000);
    if (status != 0)
        return fail(status == 1 ? "load (timeout)" : "load");
    if (lumaro_renderer_render(renderer) != 0)
        return fail("render");

    rgba = malloc(4 * WIDTH * HEIGHT);
    if (rgba == NULL || lumaro_renderer_read_color(renderer, rgba, 4 * WIDTH) != 0)
        return fail("read_color");
    for (pixel = 0; pixel < WIDTH * HEIGHT; ++pixel)
        if (rgba[4 * pixel] != 0 || rgba[4 * pixel + 1] != 0 || rgba[4 * pixel + 2] != 0)
            ++drawn;
    free(rgba);
    printf("drawn pixels: %u\n", (unsigned)drawn);

    status = lumaro_renderer_pick(renderer, WIDTH / 2, HEIGHT / 2, 8, xyz);
    if (status < 0)
        return fail("pick");
    if (status == 0)
        printf("picked: %.3f %.3f %.3f\n", xyz[0], xyz[1], xyz[2]);
    else
        printf("picked: nothing\n");

    if (lumaro_renderer_write_png(renderer, argv[2]) != 0)
        return fail("write_png");
    lumaro_renderer_destroy(renderer);

    if (lumaro_thumbnail(argv[1], argv[3], 128, 128, 0xFFFFFF, 21) != 0)
        return fail("thumbnail");
    printf("wrote %s and %s\n", argv[2], argv[3]);
    return drawn > 0 && status == 0 ? 0 : 1;
}

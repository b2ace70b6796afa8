// Renders a point-cloud store into a PNG file through the C++ interface:
//   cpp-host STORE OUTPUT.png
// STORE is a Potree 2.0 or EPT folder, a COPC file, or an http(s):// URL of one.
#include <lumaro/render/core/Coloring.h>
#include <lumaro/render/core/Renderer.h>
#include <lumaro/render/pointcloud/PointCloudRenderable.h>
#include <lumaro/render/renderables/SiteGroup.h>
#include <lumaro/render/renderables/Thumbnail.h>

#include <lumaro/octree/Location.h>

#include <exception>
#include <iostream>

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::cerr << "usage: cpp-host STORE OUTPUT.png\n";
        return 2;
    }
    try {
        // One renderer (it owns the Direct3D device), one scene: the store's cloud in a group.
        Render::Renderer renderer(false);
        renderer.setViewport(640, 400);
        renderer.setBackgroundColor(16, 20, 24, 255);
        Render::SiteGroup site("site");
        const auto cloud = site.addStore(Octree::locationOf(argv[1]), "store", 2000000);
        renderer.setScene(site.group());

        // The thumbnails' view, coloured by height, loaded on this thread.
        Render::showObliqueOverview(renderer, renderer.boundingBox());
        Render::applyColoring(renderer, Render::Coloring::Elevation, renderer.boundingBox());
        cloud->reloadPoints(nullptr, 21);

        renderer.writePngImage(argv[2]);
        std::cout << "drew " << cloud->numVisiblePoints() << " of " << cloud->octree()->pointCount() << " points into "
                  << argv[2] << "\n";
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "cpp-host: " << error.what() << "\n";
        return 1;
    }
}

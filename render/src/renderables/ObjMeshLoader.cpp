#include "ObjMeshLoader.h"

#include <tiny_obj_loader.h>

#include <Eigen/Geometry>

#include <array>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iostream>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Render {

namespace {

// A colour channel of the file (nominally 0 to 1) as a byte: times 255, truncated towards zero,
// then its low 8 bits, so values above 1 wrap instead of saturating. Values beyond a 32-bit
// integer (and NaN) have no meaningful wrap and are held at its ends first.
std::uint8_t colorByte(tinyobj::real_t channel)
{
    const double scaled = static_cast<double>(channel) * 255.0;
    std::int32_t whole = 0;
    if (scaled >= static_cast<double>(std::numeric_limits<std::int32_t>::max()))
        whole = std::numeric_limits<std::int32_t>::max();
    else if (scaled <= static_cast<double>(std::numeric_limits<std::int32_t>::min()))
        whole = std::numeric_limits<std::int32_t>::min();
    else if (!std::isnan(scaled))
        whole = static_cast<std::int32_t>(scaled);
    return static_cast<std::uint8_t>(static_cast<std::uint32_t>(whole) & 0xFFu);
}

// A mesh that no renderer can hold in memory or in one vertex buffer is refused before the reader
// stores any of it: the reader keeps every vertex and corner of the file, and the parts take 108
// bytes a triangle on top, so a file of a few hundred megabytes could otherwise take tens of
// gigabytes. Lines are held whole by the reader, so they are limited too.
constexpr std::uint64_t MAX_OBJ_VERTICES = std::uint64_t{1} << 25;
constexpr std::uint64_t MAX_OBJ_TRIANGLES = std::uint64_t{1} << 25;
constexpr std::uint64_t MAX_OBJ_LINE_BYTES = std::uint64_t{1} << 24;

// Counts what the file asks the reader to store, in one pass that holds only a block of it, and
// refuses it as soon as a count passes its limit (a file that cannot be opened is left to the
// reader, which says so).
class ObjSizeCheck {
public:
    explicit ObjSizeCheck(const std::filesystem::path& path) : mPath(path) {}

    void run()
    {
        std::ifstream file(mPath, std::ios::binary);
        if (!file)
            return;
        std::vector<char> block(std::size_t{1} << 20);
        while (file) {
            file.read(block.data(), static_cast<std::streamsize>(block.size()));
            const auto got = static_cast<std::size_t>(file.gcount());
            for (std::size_t i = 0; i < got; ++i)
                take(block[i]);
        }
        take('\n');
    }

private:
    void take(char c)
    {
        if (c == '\n' || c == '\r') {
            endWord();
            endLine();
            return;
        }
        if (++mLineBytes > MAX_OBJ_LINE_BYTES)
            refuse("line " + std::to_string(mLine + 1) + " is longer than " + std::to_string(MAX_OBJ_LINE_BYTES)
                   + " bytes");
        if (mComment)
            return;
        if (c == '#') {
            endWord();
            mComment = true;
        } else if (c == ' ' || c == '\t') {
            endWord();
        } else {
            if (mWordBytes++ == 0)
                ++mWords;
            // The keyword is the first word: "v", "vn", "vt", "f", "l" or "p" (three letters tell a
            // longer word from those).
            if (mWords == 1 && mKeyword.size() < 3)
                mKeyword += c;
        }
    }

    void endWord() { mWordBytes = 0; }

    void endLine()
    {
        if (mKeyword == "v" || mKeyword == "vn" || mKeyword == "vt") {
            if (++mVertices[mKeyword == "v" ? 0 : mKeyword == "vn" ? 1 : 2] > MAX_OBJ_VERTICES)
                refuse("it has more than " + std::to_string(MAX_OBJ_VERTICES) + " " + mKeyword
                       + " records (counted to line " + std::to_string(mLine + 1) + "); meshes are limited to that");
        } else if ((mKeyword == "f" || mKeyword == "l" || mKeyword == "p") && mWords > 1) {
            // A polygon of n corners is n - 2 triangles; the reader keeps the corners of lines and
            // points too, which count alike.
            mTriangles += mKeyword == "f" ? (mWords > 3 ? mWords - 3 : 0) : mWords - 1;
            if (mTriangles > MAX_OBJ_TRIANGLES)
                refuse("it has more than " + std::to_string(MAX_OBJ_TRIANGLES) + " triangles (counted to line "
                       + std::to_string(mLine + 1) + "); meshes are limited to that");
        }
        ++mLine;
        mLineBytes = 0;
        mWords = 0;
        mComment = false;
        mKeyword.clear();
    }

    [[noreturn]] void refuse(const std::string& problem) const
    {
        throw std::runtime_error(mPath.string() + ": " + problem);
    }

    const std::filesystem::path& mPath;
    std::uint64_t mLine = 0;
    std::uint64_t mLineBytes = 0;
    std::uint64_t mWordBytes = 0;
    std::uint64_t mWords = 0;
    bool mComment = false;
    std::string mKeyword;
    std::array<std::uint64_t, 3> mVertices{};
    std::uint64_t mTriangles = 0;
};

class PartBuilder {
public:
    PartBuilder(const tinyobj::attrib_t& attributes, const std::filesystem::path& path)
        : mAttributes(attributes), mPath(path)
    {}

    MeshLoader::Part build(const tinyobj::shape_t& shape) const
    {
        const std::size_t faces = shape.mesh.num_face_vertices.size();
        if (shape.mesh.indices.size() < 3 * faces)
            throw std::runtime_error(mPath.string() + ": shape '" + shape.name + "' has fewer corners than its "
                                     + std::to_string(faces) + " triangles need");
        MeshLoader::Part vertices(3 * faces);
        for (std::size_t face = 0; face < faces; ++face) {
            bool lacksNormal = false;
            for (std::size_t corner = 0; corner < 3; ++corner) {
                const tinyobj::index_t& index = shape.mesh.indices[3 * face + corner];
                VertexPosNormalTexCoordColor& vertex = vertices[3 * face + corner];
                const std::size_t v = checked(index.vertex_index, mAttributes.vertices.size() / 3, "vertex", face);
                vertex.position = Math::Point<float, 3>(mAttributes.vertices[3 * v], mAttributes.vertices[3 * v + 1],
                                                        mAttributes.vertices[3 * v + 2]);
                if (!vertex.position.array().isFinite().all())
                    throw std::runtime_error(mPath.string() + ": triangle " + std::to_string(face) + " uses vertex "
                                             + std::to_string(v + 1)
                                             + ", which is not finite (or too large for a float)");
                if (index.normal_index >= 0) {
                    const std::size_t n = checked(index.normal_index, mAttributes.normals.size() / 3, "normal", face);
                    vertex.normal = Eigen::Vector3f(mAttributes.normals[3 * n], mAttributes.normals[3 * n + 1],
                                                    mAttributes.normals[3 * n + 2]);
                } else {
                    vertex.normal = Eigen::Vector3f::Zero();
                    lacksNormal = true;
                }
                if (index.texcoord_index >= 0) {
                    const std::size_t t =
                        checked(index.texcoord_index, mAttributes.texcoords.size() / 2, "texture coordinate", face);
                    vertex.texCoord =
                        Math::Point<float, 2>(mAttributes.texcoords[2 * t], mAttributes.texcoords[2 * t + 1]);
                } else {
                    vertex.texCoord = Math::Point<float, 2>(0.0f, 0.0f);
                }
                vertex.color = colorOf(v);
            }
            if (lacksNormal)
                giveFaceNormal(&vertices[3 * face]);
        }
        return vertices;
    }

private:
    // The reader supplies a colour for every vertex when vertex colours are on (white where the
    // file has none); a vertex past them is white too.
    Math::Color colorOf(std::size_t vertex) const
    {
        const std::vector<tinyobj::real_t>& colors = mAttributes.colors;
        if (3 * vertex + 2 >= colors.size())
            return Math::Color(255, 255, 255, 255);
        return Math::Color(colorByte(colors[3 * vertex]), colorByte(colors[3 * vertex + 1]),
                           colorByte(colors[3 * vertex + 2]), 255);
    }

    std::size_t checked(int index, std::size_t count, const char* what, std::size_t face) const
    {
        if (index < 0 || static_cast<std::size_t>(index) >= count)
            throw std::runtime_error(mPath.string() + ": triangle " + std::to_string(face) + " refers to " + what + " "
                                     + std::to_string(index + 1) + " of " + std::to_string(count));
        return static_cast<std::size_t>(index);
    }

    // (p1 - p0) x (p2 - p0), of unit length unless it is zero (a degenerate triangle).
    static void giveFaceNormal(VertexPosNormalTexCoordColor* corners)
    {
        const Eigen::Vector3f p0 = corners[0].position;
        Eigen::Vector3f normal =
            (Eigen::Vector3f(corners[1].position) - p0).cross(Eigen::Vector3f(corners[2].position) - p0);
        if (normal.squaredNorm() > 0.0f)
            normal.normalize();
        for (int corner = 0; corner < 3; ++corner)
            corners[corner].normal = normal;
    }

    const tinyobj::attrib_t& mAttributes;
    const std::filesystem::path& mPath;
};

} // namespace

ObjMeshLoader::ObjMeshLoader(std::filesystem::path path) : mPath(std::move(path)) {}

void ObjMeshLoader::load(std::function<void(const Part&)> onPart)
{
    if (!onPart)
        throw std::bad_function_call();
    tinyobj::ObjReaderConfig config;
    config.triangulate = true;
    config.triangulation_method = "simple";
    config.vertex_color = true;
    config.mtl_search_path = "";

    ObjSizeCheck(mPath).run();
    tinyobj::ObjReader reader;
    if (!reader.ParseFromFile(mPath.string(), config) && !reader.Error().empty())
        throw std::runtime_error("TinyObjReader: " + mPath.string() + ": " + reader.Error());
    if (!reader.Warning().empty())
        std::cout << "TinyObjReader: " << reader.Warning();

    const PartBuilder builder(reader.GetAttrib(), mPath);
    for (const tinyobj::shape_t& shape : reader.GetShapes())
        onPart(builder.build(shape));
}

std::shared_ptr<MeshLoader> createObjMeshLoader(const std::filesystem::path& path)
{
    return std::make_shared<ObjMeshLoader>(path);
}

} // namespace Render

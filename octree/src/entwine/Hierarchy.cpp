#include <lumaro/octree/entwine/Hierarchy.h>

#include <nlohmann/json.hpp>

#include "FileErrors.h"
#include "LocalStoreReader.h"
#include "ParseJsonObject.h"

#include <stdexcept>

namespace Entwine {

namespace {} // namespace

std::vector<Hierarchy::Entry> Hierarchy::parseFile(std::string_view json, const std::filesystem::path& file)
{
    const Octree::FileErrors errors(file);
    const nlohmann::json root = Octree::parseJsonObject(json, file, "a JSON object of node keys and point counts");
    std::vector<Entry> entries;
    entries.reserve(root.size());
    for (const auto& [name, value] : root.items()) {
        Key key;
        try {
            key = Key::parse(name);
            key.nodeId();
        } catch (const std::invalid_argument& error) {
            errors.fail(error.what());
        }
        if (!value.is_number_integer() || value.get<std::int64_t>() < SUBTREE_ELSEWHERE) {
            errors.fail("the count of " + name + " is not an integer of at least -1");
        }
        entries.emplace_back(key, value.get<std::int64_t>());
    }
    return entries;
}

namespace {

std::vector<SubtreeIndex<Hierarchy::Count>::Entry> countsOf(const std::vector<Hierarchy::Entry>& entries)
{
    std::vector<SubtreeIndex<Hierarchy::Count>::Entry> counts;
    counts.reserve(entries.size());
    for (const auto& [key, count] : entries) {
        counts.emplace_back(key, Hierarchy::Count{count});
    }
    return counts;
}

} // namespace

std::string Hierarchy::fileOf(const Key& key) const
{
    return (mFolder.empty() ? "" : mFolder + "/") + key.toString() + ".json";
}

std::vector<SubtreeIndex<Hierarchy::Count>::Entry> Hierarchy::readFile(const Key& key) const
{
    const std::string name = fileOf(key);
    return countsOf(parseFile(mReader->read(name), mReader->describe(name)));
}

Hierarchy::Hierarchy(std::shared_ptr<const Octree::StoreReader> reader, std::string folder)
    : mReader(std::move(reader)),
      mFolder(std::move(folder)),
      mIndex(
          readFile(Key{}), mReader->describe(fileOf(Key{})),
          [this](const Key& key, const Count&) { return readFile(key); },
          [this](const Key& key, const Count&) { return mReader->describe(fileOf(key)); })
{}

Hierarchy::Hierarchy(const std::filesystem::path& folder)
    : Hierarchy(std::make_shared<Octree::LocalStoreReader>(folder), "")
{}

std::optional<std::uint64_t> Hierarchy::pointCount(const Key& key, std::stop_token stop) const
{
    const std::optional<Count> count = mIndex.find(key, stop);
    if (!count) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(count->value);
}

std::vector<Key> Hierarchy::children(const Key& key, std::stop_token stop) const
{
    return mIndex.children(key, stop);
}

std::vector<Key> Hierarchy::filesRead() const
{
    return mIndex.partsRead();
}

} // namespace Entwine

#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace Core {

// A process-wide registry of shared objects by key, e.g. one node cache per point-cloud location,
// so that every user of the same key shares one object. The registry itself holds each object,
// so an object outlives its last user until it is erased. Key needs a strict weak order (Compare).
template <typename Key, typename Resource, typename Compare = std::less<Key>>
class SharedResources {
public:
    // The object registered under the key; if there is none, create() makes one (under the
    // registry's lock, so two threads never create one key twice), which is registered. Later
    // calls for the key get the registered object and do not call create().
    template <typename Create>
    std::shared_ptr<Resource> createOrGet(const Key& key, Create&& create)
    {
        std::lock_guard lock(mMutex);
        if (const auto found = mResources.find(key); found != mResources.end())
            return found->second;
        std::shared_ptr<Resource> resource = std::forward<Create>(create)();
        if (!resource)
            throw std::logic_error("SharedResources::createOrGet: the creation function returned no object");
        mResources.emplace(key, resource);
        return resource;
    }

    // The registered object, or null.
    std::shared_ptr<Resource> find(const Key& key) const
    {
        std::lock_guard lock(mMutex);
        const auto found = mResources.find(key);
        return found == mResources.end() ? nullptr : found->second;
    }

    // Forgets the key; users that hold the object keep it alive.
    bool erase(const Key& key)
    {
        std::shared_ptr<Resource> released;
        std::lock_guard lock(mMutex);
        const auto found = mResources.find(key);
        if (found == mResources.end())
            return false;
        released = std::move(found->second);
        mResources.erase(found);
        return true;
    }

    void clear()
    {
        decltype(mResources) released;
        std::lock_guard lock(mMutex);
        released.swap(mResources);
        // `released` dies after the lock is gone: an object's destructor may use the registry.
    }

    std::size_t size() const
    {
        std::lock_guard lock(mMutex);
        return mResources.size();
    }

private:
    mutable std::mutex mMutex;
    std::map<Key, std::shared_ptr<Resource>, Compare> mResources;
};

} // namespace Core

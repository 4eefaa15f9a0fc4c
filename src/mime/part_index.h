#pragma once

#include <cstdint>
#include <unordered_map>

namespace borvik {

class MimeMessage2;

/// Object id to node, for one tree: a walk over its parts then asks for each of them at no more
/// than the price of a hash look-up. Filled at the first question and kept in step from then on.
class PartIndex {
public:
    explicit PartIndex(MimeMessage2& root) : root_(root) {}

    PartIndex(const PartIndex&) = delete;
    PartIndex& operator=(const PartIndex&) = delete;

    /// The node of that id; null when it isn't in the tree.
    MimeMessage2* find(std::uint64_t id);

    /// The nodes from `top` downwards have joined the tree, or are about to leave it.
    void add(MimeMessage2& top);
    void remove(const MimeMessage2& top);

private:
    void insert(MimeMessage2& top);

    MimeMessage2& root_;
    bool filled_ = false;
    std::unordered_map<std::uint64_t, MimeMessage2*> parts_;
};

}  // namespace borvik

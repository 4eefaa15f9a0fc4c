#pragma once

#include <cstdint>
#include <utility>
#include <vector>

namespace borvik {

class MimeMessage2;

/// Object id to node, for one tree: a walk over its parts then asks for each of them at the price
/// of a binary search. Filled at the first question and kept in step from then on.
class PartIndex {
public:
    explicit PartIndex(MimeMessage2& root) : root_(root) {}

    PartIndex(const PartIndex&) = delete;
    PartIndex& operator=(const PartIndex&) = delete;

    /// The node of that id; null when it isn't in the tree.
    MimeMessage2* find(std::uint64_t id);

    /// The nodes from `top` downwards have joined the tree.
    void add(MimeMessage2& top);
    /// Nodes are about to leave the tree.
    void forget();

private:
    using Entry = std::pair<std::uint64_t, MimeMessage2*>;

    void append(MimeMessage2& top);

    MimeMessage2& root_;
    bool filled_ = false;
    /// Sorted: an entry for each part of a message must be small.
    std::vector<Entry> parts_;
};

}  // namespace borvik

// A list that only grows, by blocks of a fixed number of items: one allocation a block, and an item keeps its address
// as long as the list lives, also when the list is moved.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace vellum {

template <typename Item, std::size_t BlockItems>
class block_list {
  public:
    struct const_iterator {
        const block_list* list;
        std::size_t index;

        const Item& operator*() const { return (*list)[index]; }
        const_iterator& operator++() { return ++index, *this; }
        bool operator==(const const_iterator&) const = default;
    };

    bool empty() const { return blocks_.empty(); }
    std::size_t size() const { return empty() ? 0 : (blocks_.size() - 1) * BlockItems + blocks_.back().size(); }

    Item& operator[](std::size_t index) { return blocks_[index / BlockItems][index % BlockItems]; }
    const Item& operator[](std::size_t index) const { return blocks_[index / BlockItems][index % BlockItems]; }
    const Item& back() const { return blocks_.back().back(); }

    const_iterator begin() const { return {this, 0}; }
    const_iterator end() const { return {this, size()}; }

    // Adds an item in its initial state.
    Item& append() {
        if (empty() || blocks_.back().size() == BlockItems) {
            std::vector<Item> block;
            block.reserve(BlockItems);
            blocks_.push_back(std::move(block));
        }
        return blocks_.back().emplace_back();
    }

  private:
    std::vector<std::vector<Item>> blocks_;  // all full but the last, none empty
};

}  // namespace vellum

#ifndef KORVANE_EXTENSION_UNIT_LIST_CONTAINER_H
#define KORVANE_EXTENSION_UNIT_LIST_CONTAINER_H

// A doubly linked list of values, indexed by position.

#include <cstddef>
#include <memory>
#include <utility>

template <typename T>
class List_Container
{
public:
    List_Container() = default;
    ~List_Container() { Clear(); }
    List_Container(const List_Container&) = delete;
    List_Container& operator=(const List_Container&) = delete;

    void Add(T value)
    {
        auto node = std::make_unique<Node>(std::move(value));
        node->previous = m_last;
        Node* added = node.get();
        if (m_last)
            m_last->next = std::move(node);
        else
            m_first = std::move(node);
        m_last = added;
        ++m_size;
    }

    // Removes every node (the values' own resources are the caller's).
    void Clear()
    {
        // Unlinks node by node so that a long list is not freed recursively.
        while (m_first)
            m_first = std::move(m_first->next);
        m_last = nullptr;
        m_size = 0;
    }

    std::size_t Size() const { return m_size; }

    // The value at a position below Size().
    T& operator[](std::size_t index) { return Node_At(index)->value; }
    const T& operator[](std::size_t index) const { return Node_At(index)->value; }

private:
    struct Node
    {
        explicit Node(T v) : value(std::move(v)) {}
        T value;
        std::unique_ptr<Node> next;
        Node* previous = nullptr;
    };

    // Walks from whichever end is nearer.
    Node* Node_At(std::size_t index) const
    {
        if (index < m_size / 2) {
            Node* node = m_first.get();
            for (std::size_t i = 0; i < index; ++i)
                node = node->next.get();
            return node;
        }
        Node* node = m_last;
        for (std::size_t i = m_size - 1; i > index; --i)
            node = node->previous;
        return node;
    }

    std::unique_ptr<Node> m_first;
    Node* m_last = nullptr;
    std::size_t m_size = 0;
};

#endif

#pragma once
// S_LIST: an owning singly linked list with head, tail and count, as the build-time records
// are kept. Items are appended at the tail and iterated from the head; copies are deep.

#include <cstddef>
#include <iterator>
#include <utility>

template <class T>
class S_LIST {
  struct Node {
    T value;
    Node* next = nullptr;
  };

 public:
  using value_type = T;

  template <class Value, class NodePointer>
  class Iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = T;
    using difference_type = std::ptrdiff_t;
    using pointer = Value*;
    using reference = Value&;

    Iterator() = default;
    explicit Iterator(NodePointer node) : m_node(node) {}
    reference operator*() const { return m_node->value; }
    pointer operator->() const { return &m_node->value; }
    Iterator& operator++() {
      m_node = m_node->next;
      return *this;
    }
    Iterator operator++(int) {
      Iterator before = *this;
      ++*this;
      return before;
    }
    bool operator==(const Iterator&) const = default;

   private:
    NodePointer m_node = nullptr;
  };
  using iterator = Iterator<T, Node*>;
  using const_iterator = Iterator<const T, const Node*>;

  S_LIST() = default;
  S_LIST(const S_LIST& other) {
    try {
      _Copy(other);
    } catch (...) {
      clear();
      throw;
    }
  }
  S_LIST(S_LIST&& other) noexcept { Swap(other); }
  S_LIST& operator=(const S_LIST& other) {
    if (this != &other) {
      S_LIST copy(other);
      Swap(copy);
    }
    return *this;
  }
  S_LIST& operator=(S_LIST&& other) noexcept {
    S_LIST taken(std::move(other));
    Swap(taken);
    return *this;
  }
  ~S_LIST() { clear(); }

  // Appends a default item and returns it.
  T& emplace_back() {
    Node* node = new Node{};
    if (m_tail == nullptr) {
      m_head = node;
    } else {
      m_tail->next = node;
    }
    m_tail = node;
    ++m_count;
    return node->value;
  }
  void push_back(const T& value) { emplace_back() = value; }
  // Iterative, so a long list never recurses.
  void clear() {
    while (m_head != nullptr) {
      Node* next = m_head->next;
      delete m_head;
      m_head = next;
    }
    m_tail = nullptr;
    m_count = 0;
  }

  std::size_t size() const { return m_count; }
  std::size_t GetCount() const { return m_count; }
  bool empty() const { return m_count == 0; }
  // The first and the last item; the list must not be empty.
  T& front() { return m_head->value; }
  const T& front() const { return m_head->value; }
  T& back() { return m_tail->value; }
  const T& back() const { return m_tail->value; }

  iterator begin() { return iterator(m_head); }
  iterator end() { return iterator(); }
  const_iterator begin() const { return const_iterator(m_head); }
  const_iterator end() const { return const_iterator(); }

  // Equal counts and equal items in order.
  bool operator==(const S_LIST& other) const {
    if (m_count != other.m_count) return false;
    const Node* b = other.m_head;
    for (const Node* a = m_head; a != nullptr; a = a->next, b = b->next) {
      if (!(a->value == b->value)) return false;
    }
    return true;
  }

 private:
  void _Copy(const S_LIST& other) {
    for (const T& value : other)
      push_back(value);
  }
  void Swap(S_LIST& other) noexcept {
    std::swap(m_head, other.m_head);
    std::swap(m_tail, other.m_tail);
    std::swap(m_count, other.m_count);
  }

  Node* m_head = nullptr;
  Node* m_tail = nullptr;
  std::size_t m_count = 0;
};

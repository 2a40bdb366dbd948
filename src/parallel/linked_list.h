// A doubly linked list through its members, which live where they were made (mostly on stacks):
// nothing is allocated, and removal from the middle is immediate.
#pragma once

namespace nmp::parallel {

/// Type has members `prev` and `next`, pointers to Type that belong to the list.
template <typename Type>
class LinkedList {
 public:
  Type* first() const { return first_; }

  void append(Type& item) {
    item.prev = last_;
    item.next = nullptr;
    (last_ != nullptr ? last_->next : first_) = &item;
    last_ = &item;
  }
  void remove(Type& item) {
    (item.prev != nullptr ? item.prev->next : first_) = item.next;
    (item.next != nullptr ? item.next->prev : last_) = item.prev;
  }

 private:
  Type* first_ = nullptr;
  Type* last_ = nullptr;
};

}  // namespace nmp::parallel

// SPDX-License-Identifier: Apache-2.0
#include "frame/expression.h"

#include <cstddef>
#include <new>

#include "frame/host_allocator.h"

namespace quiver::frame {
namespace {

// Blocks are kept when the arena is emptied, so that reading a thousand like models allocates once.
class Arena {
 public:
  Arena() = default;
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;
  ~Arena() {
    for (const Block& block : blocks_) MyFree(block.bytes);
  }
  void* Allocate(size_t bytes) {
    bytes = (bytes + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) * alignof(std::max_align_t);
    while (block_ < blocks_.size() && used_ + bytes > blocks_[block_].size) {
      ++block_;
      used_ = 0;
    }
    if (block_ == blocks_.size()) {
      const size_t size = bytes > kBlock ? bytes : kBlock;
      blocks_.reserve(blocks_.size() + 1);  // so that what is taken has its place
      blocks_.push_back({static_cast<std::byte*>(TakeFromHost(size)), size});
    }
    void* place = blocks_[block_].bytes + used_;
    used_ += bytes;
    return place;
  }
  void Reset() { block_ = used_ = 0; }

 private:
  static constexpr size_t kBlock = 1 << 16;
  struct Block {
    std::byte* bytes;
    size_t size;
  };
  HostVector<Block> blocks_;
  size_t block_ = 0, used_ = 0;
};

Arena& ThisThread() {
  thread_local Arena arena;
  return arena;
}

}  // namespace

void* ArenaAllocate(unsigned long long bytes) { return ThisThread().Allocate(bytes); }
void ResetArena() { ThisThread().Reset(); }

Node* NewNode(Node::Kind kind) {
  Node* node = new (ArenaAllocate(sizeof(Node))) Node{kind, Code::kEnd, {0}, nullptr};
  node->operands = nullptr;
  return node;
}
Node* VariableNode(const QV_VarParam& variable) {
  Node* node = NewNode(Node::kVariable);
  node->variable = const_cast<QV_VarParam*>(&variable);
  return node;
}
Node* RealNode(double value) {
  Node* node = NewNode(Node::kReal);
  node->real = value;
  return node;
}
Node* IntegerNode(int value) {
  Node* node = NewNode(Node::kInteger);
  node->integer = value;
  return node;
}
Node* TextNode(const char* text) {
  Node* node = NewNode(Node::kText);
  node->text = text;
  return node;
}
Node* IteratorNode(QV_IntegerSetIter& iterator) {
  Node* node = NewNode(Node::kIntegerIterator);
  node->integer_iterator = &iterator;
  return node;
}
Node* IteratorNode(QV_StringSetIter& iterator) {
  Node* node = NewNode(Node::kStringIterator);
  node->string_iterator = &iterator;
  return node;
}
Node* OperatorNode(Code code, Node* a, Node* b) {
  Node* node = NewNode(Node::kOperator);
  node->code = code;
  node->operands = a;
  if (a) a->next = b;
  return node;
}
Node* Use(Node* node) {
  Node* copy = NewNode(node->kind);
  *copy = *node;
  copy->next = nullptr;
  return copy;
}

}  // namespace quiver::frame

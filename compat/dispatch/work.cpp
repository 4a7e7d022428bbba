// Running and discarding submitted work.

#include "work.h"

#include "group_impl.h"

#include <Block.h>

namespace harlune::dispatch {
namespace {

// The function a block-backed Work calls: runs the copied block, then
// releases the copy, which was made for this one run.
void invoke_block(void* context) {
  auto block = reinterpret_cast<dispatch_block_t>(context);
  block();
  Block_release(block);
}

}  // namespace

Work Work::from_block(dispatch_block_t block) noexcept {
  Work work;
  work.function = &invoke_block;
  work.context = const_cast<void*>(_Block_copy(reinterpret_cast<const void*>(block)));
  return work;
}

Work Work::from_function(void* context, dispatch_function_t function) noexcept {
  Work work;
  work.function = function;
  work.context = context;
  return work;
}

void Work::run() noexcept {
  function(context);
  if (group != nullptr) {
    group->leave();
  }
}

void Work::discard() noexcept {
  if (function == &invoke_block) {
    Block_release(context);
  }
  if (group != nullptr) {
    group->leave();
  }
}

}  // namespace harlune::dispatch

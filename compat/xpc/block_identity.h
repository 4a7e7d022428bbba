// Block identity: whether two heap blocks would do exactly the same when
// run, so that a queue may keep one of them and run it twice instead.
//
// Two copies of one block literal made with the same captured values are
// interchangeable: a block's body can only read its captures (a __block
// variable is captured as the same shared pointer in both). Comparing the
// code, the descriptor and the captured bytes tells them apart from any
// other block without running either. Blocks are laid out by the
// compiler's block ABI, which is stable: isa, flags, reserved, invoke,
// descriptor (reserved, size), then the captures up to `size` bytes.
//
// Thread safety: reads only the two blocks, which callers keep alive.

#pragma once

#include <dispatch/dispatch.h>

#include <cstddef>

namespace harlune::xpc {

// True when `a` and `b` are the same block or interchangeable copies.
bool blocks_interchangeable(dispatch_block_t a, dispatch_block_t b) noexcept;

// The heap size of a copied block (what holding it costs).
std::size_t block_size(dispatch_block_t block) noexcept;

}  // namespace harlune::xpc

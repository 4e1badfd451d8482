// Values of rows as providers show them that keep rows short.
#pragma once
#include "localmapi/provider/property/RowPacker.h"

#include <cstddef>

namespace localmapi
{

// Shortens the cell's text or bytes, or those of each element of a list, to so many bytes as the client gets them: of
// the ANSI code page or of UTF-16, without the terminator, and never a part of a character. What identifies something
// stays whole, as does what is only to be had as a stream. `cut` has the shortened value then and must outlive the
// cell.
void CutCell(Cell &cell, std::size_t bytes, storage::Value &cut);

} // namespace localmapi

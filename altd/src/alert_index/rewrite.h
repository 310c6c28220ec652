// Laying out an index file anew.
#pragma once

namespace qel {

// Writes the whole file again with the same bytes, in one write. A file that grew entry by entry
// lies in the page cache in single pages; written in one piece it lies in large ones, and moving
// its blocks, which a full index does at every store, takes less than half the time. Readers wait;
// an interrupted rewrite leaves the index to be built again, as its changed bit is still set. 0, or
// -1 (logged): the file is damaged then.
int rewrite_in_one_piece(int fd);

}  // namespace qel

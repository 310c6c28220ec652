/* A text file of bounded size that several processes append to at once; one older file,
 * "<path>.1", is kept.
 *
 * No process knows the others, and any of them may be killed or stopped at any instant. What holds
 * nevertheless:
 *
 * 1. A line is one append of the kernel, so lines of several processes never mix. Nothing is
 *    buffered here: a written line outlives its process.
 * 2. Only who holds the flock of the very file that the path names may rename it. The lock goes
 *    with its holder, and nobody waits for it: while one process rotates, the others go on writing
 *    to the file they have, which is then the older one.
 * 3. Before each line the path is looked up, so that a writer follows a rotation (or an operator
 *    who moved the file away).
 * 4. After each line its file still has a name. If not, it was rotated away twice between 3 and the
 *    append, and the line is written once more.
 * 5. A file that does not end with a line end holds the torn line of a killed process or a full
 *    disk; the next line, whoever writes it, starts on a line of its own. (A writer that meets
 *    another one in the middle of its append may take that for torn; an empty line is the result.)
 *
 * A ready-made rotating sink holds none of this: it counts the size on its own and renames under
 * the feet of other processes. The price is four cheap system calls a line instead of one.
 *
 * Threading: one call at a time.
 */
#ifndef QELLOG_ROTATING_FILE_H
#define QELLOG_ROTATING_FILE_H

#include <sys/stat.h>

#include <string>
#include <string_view>

#include "common/unique_fd.h"

namespace qel {

class RotatingFile {
 public:
  RotatingFile(std::string path, off_t max_bytes);

  /* Opens the file, made with mode 0666 less the umask when missing. False when it cannot be opened
   * for reading and appending. */
  bool open();

  /* Appends a line, which ends with a line end. The file rotates first when it would grow beyond
   * its maximum; if it cannot be renamed it grows on. False (errno tells) when the line is not, or
   * only in part, in the file. */
  bool append(std::string_view line);

 private:
  bool follow_path();
  bool is_full(off_t size, size_t line_bytes) const;
  void rotate(size_t line_bytes);
  bool ends_torn();
  bool append_once(std::string_view line);

  const std::string path_;
  const std::string older_path_;
  const off_t max_bytes_;
  UniqueFd fd_;
  dev_t device_ = 0; /* of the file behind fd_ */
  ino_t inode_ = 0;
  off_t size_ = 0; /* when last looked at */
};

}  // namespace qel

#endif

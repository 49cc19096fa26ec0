/* How many extracts the last play has left: read them with the indices from 1 up to that number. Exact but
 * for one case: no extract and a single empty one both count as 0, for the library gives the same for both.
 *
 * The size of an extract does not tell where they end: it is 0 for an empty one as well as beyond the last.
 * The size of all of them together tells. They are joined by "[EXTRACT]", and none is missing once the
 * lengths and the separators add up to it. An extract may hold "[EXTRACT]" itself; so do not split the joined
 * text. */
#ifndef COUNT_EXTRACTS_H
#define COUNT_EXTRACTS_H

#include "kxtcp64.h"

#include <stddef.h>

static int countExtracts(int context) {
  const int separator = 9;                                      /* bytes of "[EXTRACT]" */
  const int whole = kx_GetLastExtract(context, NULL, 0, 0) - 1; /* without the zero at the end */
  int length = -separator;
  int count = 0;
  int size;
  if (whole <= 0) {
    return 0;
  }
  while (length < whole) {
    size = kx_GetLastExtract(context, NULL, 0, ++count);
    length += separator + (size > 0 ? size - 1 : 0);
  }
  return count;
}

#endif

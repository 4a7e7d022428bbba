/*
 * LStringUtilities.h: small routines over NUL-terminated UTF-8 text: one
 * field of a comma-separated line, removal of menu-accelerator ampersands,
 * removal of one item from an HTTP query, a text field between two markers.
 *
 * Bounded outputs take their capacity in bytes, terminator included; a
 * capacity of 0 writes nothing. Null texts read as "".
 * Thread safety: all functions are reentrant.
 */
#ifndef HARLUNE_TEXT_LSTRINGUTILITIES_H
#define HARLUNE_TEXT_LSTRINGUTILITIES_H

/*
 * Reads the field of `line` that starts at `pos` into `out` and moves `pos`
 * past it (past the comma that ends it; a line feed, carriage return or the
 * end of the text ends it too, without being passed). Double quotes group
 * text that may hold commas and are not stored; spaces before and (outside
 * quotes) after the field are cut. A field longer than size - 1 bytes is cut,
 * and `pos` still moves to its end. Returns true when the field is not empty.
 */
bool GetCSVListItem(const char *line, unsigned long &pos, char *out, unsigned long size);

/* Copies `in` without menu-accelerator ampersands: a single '&' is dropped,
 * "&&" becomes '&'. Stops when size - 1 bytes are written. */
void LStringRemoveAmpersand(char *out, const char *in, unsigned long size);
void LStringRemoveAmpersandAllLocalization(char *out, const char *in, unsigned long size);

/* Copies `in` without Japanese-style accelerators: from a '(' directly
 * followed by '&' through the next ')' nothing is copied; other ampersands
 * stay. Stops when size - 1 bytes are written. */
void LStringRemoveJPStyleAmpersand(char *out, const char *in, unsigned long size);

/*
 * Removes the item `name` ("name=value") from `query` in place, with the '&'
 * before it when there is one. The name is matched as a plain substring
 * followed by '=' (names of up to 260 bytes; a longer one is cut), so an item
 * whose name ends in `name` can match first: callers pass names that are not
 * suffixes of others. Nothing changes when the item is absent.
 */
void LRemoveHTTPItem(const char *name, char *query);

/*
 * Finds startMark in `text` and copies what follows it, up to the first
 * endMark after it, into `out` (at most size - 1 bytes). Returns false, with
 * `out` empty, when startMark is absent.
 */
bool LStringFindTextField(const char *text, const char *startMark, const char *endMark, char *out,
                          unsigned long size);

#endif

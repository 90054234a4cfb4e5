// Limits of the paged list reads.
#ifndef DATA_PAGING_H_
#define DATA_PAGING_H_

// Pages read from one list before giving up.  A service that keeps sending a
// continuation mark would otherwise hold the agent's only thread forever;
// a real list is far shorter (tens of thousands of objects at most, many
// per page).
constexpr unsigned kMaxListPages = 100000;

#endif  // DATA_PAGING_H_

#include "engine/community_list.h"

CommunityList* communityKeep = nullptr;

CommunityList::~CommunityList() {
  for (Item* item : items) delete item;
}

CommunityList::iterator CommunityList::find(const std::string& name) {
  for (auto it = items.begin(); it != items.end(); ++it) {
    // std::string equality compares length and every byte, NULs included.
    if ((*it)->name == name) return it;
  }
  return items.end();
}

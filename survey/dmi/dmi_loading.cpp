#include <cstring>

#include "survey/dmi/dmi_structures.h"
#include "survey/dmi/dmi_table.h"
#include "survey/frame/contexts.h"

DmiLoadState dmiLoadArray[kDmiLoadRows];

namespace {

// The longest structure that is loaded; a stored length beyond it is taken
// for damage.
constexpr std::uint32_t kLargestStructure = 4095;

// Instances are counted in 8 bits in the snapshot's contents, so no
// instance from 256 on can ever be found.
constexpr std::uint64_t kInstancesPerType = 256;

void FreeChain(DmiLoadState* node) {
  while (node != nullptr) {
    DmiLoadState* const next = node->next;
    delete[] node->data;
    delete node;
    node = next;
  }
}

// The row of a type, or false for a type that has none.
bool RowOfType(std::uint8_t type, std::uint8_t& row) {
  if (type == 126) {
    row = 37;
  } else if (type == 127) {
    row = 38;
  } else if (type > 37) {
    return false;
  } else {
    row = type;
  }
  return true;
}

// The next node of a chain, made and loaded as instance `instance` when it
// is not there yet.
DmiLoadState* NextNode(DmiLoadState* node, std::uint8_t row, std::uint32_t instance) {
  if (node->next == nullptr) {
    node->next = new DmiLoadState{};
    LoadDMIStructure(*node->next, row, instance);
  }
  return node->next;
}

// Where the last walk of each row ended: the node of that index. The walks
// of an iteration each go one structure further than the one before, so a
// walk goes on from the mark rather than from the head of the row. The mark
// also keeps the head's first link as it was, and is taken only while that
// link is unchanged: a row cleared since then is walked from its head.
struct WalkMark {
  std::uint64_t index;
  DmiLoadState* node;
  DmiLoadState* first;
};
WalkMark walkMarks[kDmiLoadRows];

// The node of the index (from 1) in the row, loading the nodes on the way
// that are not loaded yet; the head must be loaded.
DmiLoadState* WalkTo(std::uint8_t row, std::uint64_t index) {
  DmiLoadState* node = &dmiLoadArray[row];
  std::uint64_t at = 1;
  WalkMark& mark = walkMarks[row];
  if (mark.node != nullptr && mark.index <= index && mark.first == node->next) {
    node = mark.node;
    at = mark.index;
  }
  for (; at < index; ++at) node = NextNode(node, row, static_cast<std::uint32_t>(at));
  mark = WalkMark{index, node, dmiLoadArray[row].next};
  return node;
}

}  // namespace

void ClearDmiLoadArray() {
  std::memset(dmiLoadArray, 0, sizeof dmiLoadArray);
  std::memset(walkMarks, 0, sizeof walkMarks);
}

void FreeDmiLoadArray() {
  for (DmiLoadState& head : dmiLoadArray) {
    if (head.loaded != 0) {
      delete[] head.data;
      FreeChain(head.next);
    }
    head = DmiLoadState{};
  }
  std::memset(walkMarks, 0, sizeof walkMarks);
}

void LoadDMIStructure(DmiLoadState& state, std::uint8_t type, std::uint32_t instance) {
  state.loaded = 1;
  dmi_info const* const info = GetDmiInfo();
  if (info == nullptr) return;
  DmiContentsEntry const* const entry = info->Find(type, instance);
  if (entry == nullptr) return;
  if (FindContextInterface<SurveyorStorageContext>() == nullptr) throw NoSurveyorContext();
  try {
    if (entry->length == 0 || entry->length > kLargestStructure) throw NoSuchObject();
    state.data = new unsigned char[entry->length];
    state.size = entry->length;
    // The file is opened afresh for each structure; nothing keeps it open.
    ReadDmiStructure(*entry, state.data);
  } catch (...) {
    delete[] state.data;
    state.data = nullptr;
    state.size = 0;
    throw NoSuchObject();
  }
}

bool FindDMIStructure(std::uint8_t type, std::uint64_t index, unsigned char const** data,
                      std::uint32_t* size) {
  if (index == 0 || index > 0xFFFFFFFFull) return false;
  std::uint8_t row = 0;
  if (!RowOfType(type, row)) return false;
  // Past the last instance that the contents can name, every node would
  // come up empty: the answer is known without building them.
  if (index > kInstancesPerType) return false;
  if (dmiLoadArray[row].loaded == 0) LoadDMIStructure(dmiLoadArray[row], row, 0);
  DmiLoadState const* const node = WalkTo(row, index);
  if (node->data == nullptr || node->size <= 3) return false;
  *data = node->data;
  *size = node->size;
  return true;
}

void GetDMIStructure(std::uint8_t type, std::uint64_t index, unsigned char const** data,
                     std::uint32_t* size) {
  if (!FindDMIStructure(type, index, data, size)) throw NoSuchObject();
}

surveyor_string GetStringBlockStringFromPosAndType(std::uint64_t position, std::uint8_t type) {
  if (position == 0) throw NoSuchObject();
  std::uint8_t row = 0;
  if (!RowOfType(type, row)) throw NoSuchObject();
  DmiLoadState* node = &dmiLoadArray[row];
  if (node->loaded == 0) LoadDMIStructure(*node, row, 0);
  std::uint64_t count = static_cast<std::uint64_t>(GetBYTE(node->data, node->size, 4).value);
  if (position <= count) return GetStringBlockString(node->data, node->size, position);
  for (std::uint8_t instance = 1; instance != 0; ++instance) {
    position -= count;
    node = NextNode(node, row, instance);
    count = static_cast<std::uint64_t>(GetBYTE(node->data, node->size, 4).value);
    if (position <= count) return GetStringBlockString(node->data, node->size, position);
  }
  throw NoSuchObject();
}

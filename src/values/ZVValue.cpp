#include <functional>
#include <map>

#include <zorvane/ZVTypes.h>

namespace {

constexpr std::size_t kSearchedOneByOne = 32;  // up to here comparing keys in turn is faster

}  // namespace

// An order and no hash: keys also come from outside, and a sender that knows the hash could make them collide.
struct ZVMap::Index {
  std::map<std::string, std::size_t, std::less<>> positions;

  // Takes in the entries that were added since; nothing is kept for a map that is small enough.
  static std::unique_ptr<Index> covering(const std::vector<Entry>& entries, std::unique_ptr<Index> index = nullptr) {
    if (entries.size() <= kSearchedOneByOne) return nullptr;
    if (!index) index = std::make_unique<Index>();
    for (std::size_t at = index->positions.size(); at < entries.size(); ++at)
      index->positions.emplace(entries[at].key, at);
    return index;
  }
};

ZVMap::ZVMap() noexcept = default;

ZVMap::ZVMap(std::initializer_list<Entry> entries) {
  reserve(entries.size());
  for (const Entry& entry : entries) put(entry.key, entry.value);
}

ZVMap::ZVMap(const ZVMap& other)
    : entries_(other.entries_), index_(other.index_ ? std::make_unique<Index>(*other.index_) : nullptr) {}

ZVMap::ZVMap(ZVMap&& other) noexcept = default;

ZVMap& ZVMap::operator=(const ZVMap& other) {
  if (this != &other) *this = ZVMap(other);
  return *this;
}

ZVMap& ZVMap::operator=(ZVMap&& other) noexcept = default;

ZVMap::~ZVMap() = default;

void ZVMap::set(ZVText key, ZVValue value) { put(std::string(key.view()), std::move(value)); }

void ZVMap::put(std::string key, ZVValue value) {
  if (const auto at = position(key)) {
    entries_[*at].value = std::move(value);
    return;
  }
  // The index is out of the map while it changes: should memory run out, no index at all still finds every entry.
  std::unique_ptr<Index> index = std::move(index_);
  entries_.push_back({std::move(key), std::move(value)});
  index_ = Index::covering(entries_, std::move(index));
}

bool ZVMap::erase(ZVText key) {
  const auto at = position(key.view());
  if (!at) return false;
  index_.reset();
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(*at));
  index_ = Index::covering(entries_);
  return true;
}

void ZVMap::clear() noexcept {
  entries_.clear();
  index_.reset();
}

void ZVMap::reserve(std::size_t entries) { entries_.reserve(entries); }

const ZVValue* ZVMap::find(ZVText key) const noexcept {
  const auto at = position(key.view());
  return at ? &entries_[*at].value : nullptr;
}

std::size_t ZVMap::size() const noexcept { return entries_.size(); }
ZVMap::const_iterator ZVMap::begin() const noexcept { return entries_.data(); }
ZVMap::const_iterator ZVMap::end() const noexcept { return entries_.data() + entries_.size(); }

std::optional<std::size_t> ZVMap::position(std::string_view key) const noexcept {
  if (index_) {
    const auto found = index_->positions.find(key);
    return found == index_->positions.end() ? std::nullopt : std::optional(found->second);
  }
  for (std::size_t at = 0; at < entries_.size(); ++at)
    if (entries_[at].key == key) return at;
  return std::nullopt;
}

// The order is how a map is written, not what it says.
bool operator==(const ZVMap& left, const ZVMap& right) {
  if (left.size() != right.size()) return false;
  for (const auto& [key, value] : left) {
    const ZVValue* const other = right.find(key);
    if (other == nullptr || !(*other == value)) return false;
  }
  return true;
}

// R/L/C sections (Len=, L=, R=, C= closed by "/") and the chains they form, with Fork/Endfork
// branches: the electrical description of a package pin or of a board path.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarn {

/// One R/L/C section; each value is absent until its item has been read.
struct PinSection {
  std::optional<double> len;
  std::optional<double> l;
  std::optional<double> r;
  std::optional<double> c;
};

/// What an element of a chain is. Package pins hold sections and forks; board paths add
/// their pins, the pins of parts on the board (nodes) and the NC that ends a branch.
enum class ChainElementKind : uint8_t { Fork = 0, Pin = 1, Node = 2, Section = 3, NC = 4 };

/// An element of a chain: an R/L/C section, a fork whose branch is a chain of its own that
/// leaves the chain at that point, or a point of a board path.
struct ChainElement {
  ChainElementKind kind = ChainElementKind::Section;
  PinSection section;                // of a section
  std::vector<ChainElement> branch;  // of a fork
  std::string designator;            // of a node
  std::string pin;                   // of a pin or a node
};
using SectionChain = std::vector<ChainElement>;

/// The R/L/C sections of a chain, those of its branches included.
size_t SECT_CountSections(const SectionChain& chain);

/// Reads one section from `text` up to and including its "/", reporting what is wrong with
/// its items; `rest_out` is what follows. false when no section came: nothing but blanks was
/// left, or a finding ended the line (its rest is then dropped).
[[nodiscard]] bool SECT_ReadSection(std::string_view text, PinSection* out,
                                    std::string_view* rest_out);

/// Builds the chain of one pin or path: where the next section goes, and the open forks.
/// It points into the chain it builds, which must stay in place while it is started.
class ChainBuilder {
 public:
  /// A new pin or path; any fork left open is forgotten. A package pin is begun by its name,
  /// so a fork may leave it at once; a board path only by its first element
  /// (`begun_by_element`), before which Fork, Endfork and sections are orphans.
  void start(SectionChain* chain, bool begun_by_element = false);
  /// No chain is being built.
  void stop();
  bool started() const { return root_ != nullptr; }
  size_t open_forks() const { return forks_.size(); }

  /// Sections on a line of their own continue the chain: only once it holds an element.
  /// false (reported) for an orphan.
  [[nodiscard]] bool may_continue() const;
  /// "Fork": a branch leaves the chain after its last element. false (reported) with no chain.
  [[nodiscard]] bool open_fork();
  /// "Endfork": the innermost branch ends and the chain goes on where it left.
  /// false (reported) with no chain or no open fork; an empty branch is reported and closed.
  [[nodiscard]] bool close_fork();
  /// Closes every open fork without a finding (its caller has reported them).
  void close_forks() { forks_.clear(); }
  /// Appends a section to the innermost open branch, or to the chain.
  void add(const PinSection& section);
  /// Appends any element likewise.
  void add(ChainElement element);

 private:
  SectionChain* current() const { return forks_.empty() ? root_ : forks_.back(); }
  bool begun() const { return root_ && !(begun_by_element_ && root_->empty()); }

  SectionChain* root_ = nullptr;
  bool begun_by_element_ = false;
  std::vector<SectionChain*> forks_;  // branches of the open forks, innermost last
};

}  // namespace tarn

/// What fuzz targets are made of. A target reads its input, asks `require` of whatever must hold,
/// and states how much memory and work it may take; the harness holds it to that.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace fuzz {

/// Ends the program, with the place, unless `holds`.
void require(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE());

/// The bytes of one run. A target takes its choices off the back, so that the seeds begin as the
/// text does that they stand for.
class Input {
public:
    explicit Input(std::string_view bytes) : rest_(bytes) {}

    /// The last byte that wasn't taken, 0 when there is none.
    std::uint8_t choice();
    /// What stands in front of the next `kSeparator`, which goes too.
    std::string_view piece();
    /// The same as UTF-16: the units themselves when `raw`, else taken from UTF-8.
    std::u16string wide(bool raw);
    std::string_view rest() const { return rest_; }
    bool isEmpty() const { return rest_.empty(); }

    static constexpr char kSeparator = '\x1D';

private:
    std::string_view rest_;
};

/// At most `base` and `times` as many as the input has bytes. What stays behind from one run to the
/// next, as conversion tables do, doesn't count.
struct Limit {
    std::uint64_t base;
    std::uint64_t times;
};

struct Limits {
    /// Bytes from the heap that are in use at once. Seen under AddressSanitizer.
    Limit memory = {256 * 1024, 64};
    /// Blocks of code that are run. Seen where the compiler counts them.
    Limit work = {100'000, 2000};
    std::size_t longest = 4096;  ///< Bytes of an input.
};

struct Target {
    std::string_view name;
    void (*run)(Input input);
    Limits limits = {};
};

/// All targets, in the order of their names.
std::span<const Target> targets();
/// Null when there is none of that name.
const Target* findTarget(std::string_view name);

/// Runs a target on bytes within its limits.
void runTarget(const Target& target, std::string_view bytes);

/// A folder in memory, where there is such, that goes with the process.
const std::string& scratchFolder();
/// Writes a file of that folder; returns its path.
std::string scratchFile(std::string_view name, std::string_view content);
std::string readFile(const std::string& path);

/// Whether a text goes as header fields: no NUL, each line ends in CR LF, and each but the first
/// begins as a name or, folded, with a blank. `fields` gets their number.
bool isHeader(std::string_view text, std::size_t& fields);

/// A number of every code page that text can be converted from or to.
std::span<const std::uint32_t> codePages();

}  // namespace fuzz

/// \file
/// The memory layout of the records that host and driver share, as this compiler and this Qt lay them out.
#ifndef ABI_LAYOUT_H
#define ABI_LAYOUT_H

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace records {

/// One field of a record, or a whole record (offset 0).
struct Place {
    std::string name;    ///< "RW_VAR.reg_type", or "RW_VAR" for the record itself
    std::size_t offset;  ///< bytes from the start of the record
    std::size_t size;    ///< bytes
};

inline bool operator==(const Place &one, const Place &other) {
    return one.name == other.name && one.offset == other.offset && one.size == other.size;
}

typedef std::vector<Place> Layout;

/// Every record of the interface: itself first, then its fields in the order in which they are declared.
Layout measured_layout();

/// The file that holds the layout for this word size and this Qt, without its folder: "layout-qt5-lp64.txt".
std::string layout_file_name();

/// One line for each place: name, offset and size with blanks between them.
void print(std::ostream &out, const Layout &layout);

/// Reads what `print` writes. Throws std::runtime_error, with the line in its text, on anything else.
Layout read_layout(std::istream &in);

/// What moved between the two, one line for each place that differs; empty when nothing does.
std::string differences(const Layout &expected, const Layout &found);

}  // namespace records

#endif

/// \file
/// The model's state and the driver's, field by field.
#ifndef MODEL_COMPARISON_H
#define MODEL_COMPARISON_H

#include "ozna_kelpo_port.h"

#include "model.h"

#include <string>
#include <vector>

namespace model {

/// The first field that differs, if any.
class Difference {
public:
    bool found() const {
        return !words.empty();
    }

    /// "field: expected X, found Y"; empty when nothing differs.
    const std::string &text() const {
        return words;
    }

    void numbers(const char *field, long long expected, long long actual);
    void bytes(const char *field, const Bytes &expected, const QByteArray &actual);
    void texts(const char *field, const std::string &expected, const QString &actual);
    void vars(const char *field, const Var &expected, const RW_VAR &actual);
    void var_lists(const char *field, const std::deque<Var> &expected, const QList<RW_VAR> &actual);

    /// Takes over `other` as a difference inside `field`.
    void inside(const std::string &field, const Difference &other);

private:
    void set(const std::string &field, const std::string &expected, const std::string &actual);

    std::string words;
};

/// A host block for the driver and the memory after it.
struct DriverBlock {
    ComInfo info;
    int after[13];
};

/// Compares everything the host can see of the driver's state: lists, frames, counters, flags, records, stations,
/// caches, the lists nobody uses, and that no lock is held.
void compare_state(Difference &difference, const Driver &expected);

/// Compares every word of a host block.
void compare_block(Difference &difference, const char *field, const HostBlock &expected, const DriverBlock &actual);

/// \name Between the model's types and the driver's
/// @{
RW_VAR to_driver(const Var &var);
QList<RW_VAR> to_driver(const std::deque<Var> &vars);
QByteArray to_driver(const Bytes &bytes);
QString to_driver(const std::string &latin1);
int read_word(const DriverBlock &block, std::size_t index);
void write_word(DriverBlock &block, std::size_t index, int value);
/// @}

/// \name In words
/// @{
std::string in_words(const std::string &latin1);
std::string in_words(const Bytes &bytes);
std::string in_words(const Var &var);
/// @}

}  // namespace model

#endif

#pragma once

#include "host/driver/driver_library.h"
#include "host/driver/variable.h"

#include <QtCore/QByteArray>

#include <string>
#include <vector>

namespace kelpo {

// Converts the host's data to the driver's own records and texts, for the files of this folder and for tests that call
// the driver's functions themselves.

/// An address text as the driver takes it.
QString driver_text(const std::string &text);

QByteArray driver_bytes(const std::string &bytes);

/// The variables as the driver's ReCreatReadVarList takes them.
QList<HOST_VAR> polled(const VariablePointers &variables);
QList<HOST_VAR> polled(const std::vector<Variable> &variables);

/// The record with which the driver's AddListOnceReadVar reads `place` once.
RW_VAR once_read_record(const Variable &place, int group, int id);

/// The bytes that the driver's cache has for the variable at this moment.
std::string cached_bytes(const DriverEntryPoints &driver, const Variable &variable);

/// The same as values.
Values shown_by(const DriverEntryPoints &driver, const Variable &variable);

}  // namespace kelpo

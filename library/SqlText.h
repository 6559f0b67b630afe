#pragma once

#include <QString>

// A text value that goes between single quotes in an SQL statement, with every
// single quote doubled so that titles such as "Bob's demo" survive the trip.
QString sqlText(const QString& value);

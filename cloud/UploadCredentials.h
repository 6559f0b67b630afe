#pragma once

#include <QString>

// The values that sign every request of this machine to the service.
namespace UploadCredentials {
// 32 characters from A-Z, a-z and 0-9, made anew for each sign-in.
QString randomString();
// Lower-case hexadecimal SHA-1 of rand, salt and machine id, in this order.
QString userHash(const QString& rand, const QString& salt, const QString& machineId);
} // namespace UploadCredentials

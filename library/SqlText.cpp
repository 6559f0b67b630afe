#include "SqlText.h"

QString sqlText(const QString& value)
{
    QString quoted = value;
    quoted.replace(QLatin1Char('\''), QLatin1String("''"));
    return quoted;
}

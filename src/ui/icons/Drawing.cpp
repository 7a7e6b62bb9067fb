#include "ui/icons/Drawing.h"

#include <QResource>

// Outside every namespace, as the macro wants it: a static library's resources are not found by themselves.
static void loadDrawings()
{
    Q_INIT_RESOURCE(icons);
}

namespace quorvalent {

using namespace Qt::StringLiterals;

QString drawingFile(const QString &name)
{
    loadDrawings();
    return u":/quorvalent/icons/%1.svg"_s.arg(name);
}

} // namespace quorvalent

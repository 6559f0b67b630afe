#include "RegionSelect.h"

#include "AppController.h"
#include "ScreenshotImageProvider.h"
#include "UIController.h"

#include <QDebug>
#include <QPainter>
#include <QPainterPath>
#include <QQmlError>
#include <QQuickItem>
#include <QQuickWidget>

namespace {
const QColor kDimming(0, 0, 0, 128);

QCursor makeCrossCursor()
{
    const QPixmap picture(QStringLiteral(":/images/ScreenDialog/cross_cursor.png"));
    if (picture.isNull()) {
        qWarning() << "[RS]:"
                   << "cross_cursor.png missing, the system's cross is used";
        return QCursor(Qt::CrossCursor);
    }
    return QCursor(picture, picture.width() / 2, picture.height() / 2);
}
} // namespace

RegionSelect::RegionSelect(AppController* appController, UIController* ui, Common::RunState runState, int screenIndex,
                           int x, int y, int width, int height)
    : QWidget(nullptr, Qt::ToolTip)
    , m_crossCursor(makeCrossCursor())
    , m_appController(appController)
    , m_ui(ui)
    , m_screenIndex(screenIndex)
    , m_runState(runState)
{
    setWindowTitle(QStringLiteral("regionSelect%1").arg(screenIndex));
    setAttribute(Qt::WA_Hover);
    setAttribute(Qt::WA_TranslucentBackground);
    setCursor(m_crossCursor);

    m_sceneWidget = new QQuickWidget(this);
    m_sceneWidget->setAttribute(Qt::WA_AlwaysStackOnTop);
    m_sceneWidget->setClearColor(Qt::transparent);
    m_sceneWidget->setResizeMode(QQuickWidget::SizeRootObjectToView);
    m_sceneWidget->setSource(QUrl(QStringLiteral("qrc:/qml/Modules/Screen/ScreenWidget.qml")));
    m_root = m_sceneWidget->rootObject();
    if (m_root) {
        // Signals declared in QML have no C++ name to connect to.
        connect(m_root, SIGNAL(runScreen()), this, SLOT(runScreen()));
        connect(m_root, SIGNAL(runRec()), this, SLOT(runRec()));
        connect(m_root, SIGNAL(reload()), this, SLOT(reload()));
        connect(m_root, SIGNAL(closeClicked()), this, SLOT(closeClicked()));
        m_root->setProperty("runState", int(runState));
        m_root->setProperty("actionMenuVisible", false);
    } else {
        // The overlay still selects, only without help text and menu.
        for (const QQmlError& error : m_sceneWidget->errors())
            qWarning() << "[RS]:"
                       << "ScreenWidget.qml:" << error.toString();
    }
    if (m_ui)
        connect(m_ui, &UIController::currentScreenIndexChangedSignal, this, &RegionSelect::currentScreenIndexChanged);

    setGeometryAndLimits(x, y, width, height);
    takeSnapshot();
    m_newSelection = true;
    m_dragMode = 0;
    m_sceneWidget->installEventFilter(this);
}

RegionSelect::~RegionSelect() = default;

void RegionSelect::reopen(Common::RunState runState, int x, int y, int width, int height)
{
    m_runState = runState;
    takeSnapshot();
    m_newSelection = true;
    m_dragMode = 0;
    reload();
    setGeometryAndLimits(x, y, width, height);
}

bool RegionSelect::actionMenuVisible() const
{
    return m_root && m_root->property("actionMenuVisible").toBool();
}

void RegionSelect::setGeometryAndLimits(int x, int y, int width, int height)
{
    m_windowGeometry = QRect(x, y, width, height);
    setGeometry(m_windowGeometry);
    m_sceneWidget->setGeometry(0, 0, width, height);
    setMinimumSize(width, height);
    setMaximumSize(width, height);
}

void RegionSelect::takeSnapshot()
{
    ScreenshotImageProvider* provider = m_ui ? m_ui->screenshotProvider() : nullptr;
    m_snapshot = provider ? provider->requestPixmap(m_screenIndex) : QPixmap();
}

void RegionSelect::setActionMenuVisible(bool visible)
{
    if (m_root)
        m_root->setProperty("actionMenuVisible", visible);
}

void RegionSelect::publish()
{
    if (!m_root)
        return;
    m_root->setProperty("selectRectangleX", m_selection.x());
    m_root->setProperty("selectRectangleY", m_selection.y());
    m_root->setProperty("selectRectangleWidth", m_selection.width());
    m_root->setProperty("selectRectangleHeight", m_selection.height());
    m_root->setProperty("actionMenuRectangleX", m_actionMenuRect.x());
    m_root->setProperty("actionMenuRectangleY", m_actionMenuRect.y());
    m_root->setProperty("actionMenuRectangleWidth", m_actionMenuRect.width());
    m_root->setProperty("actionMenuRectangleHeight", m_actionMenuRect.height());
}

// ---- slots -----------------------------------------------------------------

void RegionSelect::closeSelector()
{
    qDebug() << "[RS]:"
             << "closeSelector";
}

void RegionSelect::hideScreenDialog()
{
    m_snapshot = QPixmap();
    reload();
    if (m_ui)
        m_ui->hideScreenDialogSignal();
}

void RegionSelect::hideDialog()
{
    m_snapshot = QPixmap();
    reload();
    hide();
}

void RegionSelect::runScreen()
{
    if (usable() && m_ui)
        m_ui->captureImage(m_selection.x(), m_selection.y(), m_selection.width(), m_selection.height(), m_screenIndex);
    hideScreenDialog();
}

void RegionSelect::runRec()
{
    // The controller takes the rectangle in virtual desktop coordinates.
    if (usable() && m_appController)
        m_appController->showVideoRecordingDialog(m_selection.x() + m_windowGeometry.x(),
                                                  m_selection.y() + m_windowGeometry.y(), m_selection.width(),
                                                  m_selection.height(), m_screenIndex);
    hideScreenDialog();
}

void RegionSelect::reload()
{
    qDebug() << "[RS]:"
             << "reload";
    setActionMenuVisible(false);
    m_selection = QRect();
    m_actionMenuRect = QRect();
    m_anchor = QPoint();
    m_lastPosition = QPoint();
    m_moveOffset = QPoint();
    m_unusedPoint = QPoint();
    m_newSelection = true;
    m_dragMode = 0;
    publish();
    repaint();
    update();
}

void RegionSelect::closeClicked()
{
    hideScreenDialog();
}

void RegionSelect::currentScreenIndexChanged(int screenIndex)
{
    // One selection across all screens: a press on another screen drops this one.
    if (screenIndex != m_screenIndex)
        reload();
}

// ---- painting --------------------------------------------------------------

void RegionSelect::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    painter.drawPixmap(0, 0, m_snapshot);
    const int W = width();
    const int H = height();
    const int x = m_selection.x();
    const int y = m_selection.y();
    const int w = m_selection.width();
    const int h = m_selection.height();
    painter.fillRect(QRect(0, 0, x, H), kDimming);
    painter.fillRect(QRect(x, 0, w, y), kDimming);
    painter.fillRect(QRect(x + w, 0, W - x - w, H), kDimming);
    painter.fillRect(QRect(x, y + h, w, H - y - h), kDimming);

    painter.setPen(QPen(QColor(253, 24, 0, 255), 2.0, Qt::DashLine, Qt::SquareCap, Qt::BevelJoin));
    QPainterPath frame;
    frame.moveTo(x, y);
    frame.lineTo(x + w, y);
    frame.lineTo(x + w, y + h);
    frame.lineTo(x, y + h);
    frame.closeSubpath();
    painter.drawPath(frame);
    painter.drawText(m_selection, Qt::AlignRight | Qt::AlignBottom,
                     tr("%1 x %2 pixels").arg(QString::number(w, 10), QString::number(h, 10)));
}

// SPDX-License-Identifier: GPL-3.0-or-later
#include "window/FocusFrame.h"

#include <QApplication>
#include <QPainter>
#include <QResizeEvent>
#include <QWidget>

namespace kinloom {

namespace {

constexpr int ringWidth = 2;

class Ring final : public QWidget
{
public:
    explicit Ring(QWidget* parent) : QWidget(parent)
    {
        setObjectName(QStringLiteral("focusFrame"));
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setFocusPolicy(Qt::NoFocus);
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        // The active colour even while a sheet is over the window: the frame says where the keys go.
        const QColor colour = palette().color(QPalette::Active, QPalette::Highlight);
        const QRect all = rect();
        painter.fillRect(QRect(all.left(), all.top(), all.width(), ringWidth), colour);
        painter.fillRect(QRect(all.left(), all.bottom() - ringWidth + 1, all.width(), ringWidth), colour);
        painter.fillRect(QRect(all.left(), all.top(), ringWidth, all.height()), colour);
        painter.fillRect(QRect(all.right() - ringWidth + 1, all.top(), ringWidth, all.height()), colour);
    }

    void resizeEvent(QResizeEvent* event) override
    {
        // Only the ring covers the control, so that what lies inside it is painted and scrolled alone.
        const QRect all(QPoint(), event->size());
        setMask(QRegion(all).subtracted(QRegion(all.adjusted(ringWidth, ringWidth, -ringWidth, -ringWidth))));
    }
};

bool belongsTo(const QWidget* widget, const QWidget* window)
{
    for (; widget; widget = widget->parentWidget()) {
        if (widget == window)
            return true;
    }
    return false;
}

} // namespace

FocusFrame::FocusFrame(QWidget* window) : QObject(window), m_window(window)
{
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) { follow(now); });
    follow(QApplication::focusWidget());
}

void FocusFrame::follow(QWidget* focus)
{
    if (m_framed)
        m_framed->removeEventFilter(this);
    // A window or a popup menu or list has no frame of its own to show.
    const bool framed = focus && belongsTo(focus, m_window) && !focus->isWindow() &&
                        focus->window()->windowType() != Qt::Popup;
    m_framed = framed ? focus : nullptr;
    if (!framed) {
        if (m_frame)
            m_frame->hide();
        return;
    }
    if (!m_frame)
        m_frame = new Ring(focus);
    else
        m_frame->setParent(focus);
    m_frame->setGeometry(focus->rect());
    m_frame->show();
    m_frame->raise();
    focus->installEventFilter(this);
}

bool FocusFrame::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_framed && m_frame && event->type() == QEvent::Resize)
        m_frame->setGeometry(m_framed->rect());
    return QObject::eventFilter(watched, event);
}

} // namespace kinloom

// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>

namespace kinloom {

/// Draws a 2px frame in the highlight colour around whichever control of a window, or of its sheets
/// and dialogs, has the keyboard. Styles show the focus faintly, or only on some controls, or not at
/// all until a key was pressed; this frame shows it on every control, however it got there.
class FocusFrame final : public QObject
{
    Q_OBJECT

public:
    explicit FocusFrame(QWidget* window);

    /// The control the frame is drawn around, or none.
    [[nodiscard]] QWidget* framed() const { return m_framed; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void follow(QWidget* focus);

    QWidget* m_window = nullptr;
    QPointer<QWidget> m_framed;
    /// The frame itself: a child of the framed control, so that it moves, scrolls and clips with it.
    QPointer<QWidget> m_frame;
};

} // namespace kinloom

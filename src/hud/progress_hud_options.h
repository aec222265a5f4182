#pragma once

#include <QColor>
#include <QPointer>
#include <QWidget>

// What the HUD shows in its indicator area. `custom` carries a view that the caller owns; while it is installed
// the HUD parents it and gives it back (unparented, hidden) when it removes it.
struct ProgressHUDMode {
    enum Kind { indeterminate, determinate, info, success, error, text, custom };

    Kind kind = indeterminate;
    QPointer<QWidget> view; // custom only

    ProgressHUDMode(Kind k = indeterminate) : kind(k) {} // NOLINT: implicit, so that `success` reads as a mode
    static ProgressHUDMode makeCustom(QWidget *view)
    {
        ProgressHUDMode mode(custom);
        mode.view = view;
        return mode;
    }
    // The glyph modes draw into an area of spinnerSize without an indicator view.
    bool reservesGlyphArea() const { return kind == determinate || kind == info || kind == success || kind == error; }
    friend bool operator==(const ProgressHUDMode &a, const ProgressHUDMode &b)
    {
        return a.kind == b.kind && a.view == b.view;
    }
};

// Colour scheme of the panel, its text, glyphs and spinner.
struct ProgressHUDStyle {
    enum Kind { light, dark, custom };

    Kind kind = light;
    QColor customForeground; // custom only
    QColor customBackground; // custom only

    ProgressHUDStyle(Kind k = light) : kind(k) {} // NOLINT: implicit, as for ProgressHUDMode
    static ProgressHUDStyle makeCustom(const QColor &foreground, const QColor &background)
    {
        ProgressHUDStyle style(custom);
        style.customForeground = foreground;
        style.customBackground = background;
        return style;
    }
    QColor foregroundColor() const
    {
        switch (kind) {
        case light:
            return Qt::black;
        case dark:
            return QColor::fromRgbF(0.95f, 0.95f, 0.95f, 1.0f);
        case custom:
            break;
        }
        return customForeground;
    }
    // The panel fill before the HUD's opacity replaces its alpha.
    QColor backgroundColor() const
    {
        switch (kind) {
        case light:
            return Qt::white;
        case dark:
            return Qt::black;
        case custom:
            break;
        }
        return customBackground;
    }
    friend bool operator==(const ProgressHUDStyle &, const ProgressHUDStyle &) = default;
};

// What covers the rest of the HUD's area. With anything but `none` the HUD also keeps every click.
struct ProgressHUDMaskType {
    enum Kind { none, clear, black, custom };

    Kind kind = none;
    QColor customColor; // custom only

    ProgressHUDMaskType(Kind k = none) : kind(k) {} // NOLINT: implicit, as for ProgressHUDMode
    static ProgressHUDMaskType makeCustom(const QColor &color)
    {
        ProgressHUDMaskType mask(custom);
        mask.customColor = color;
        return mask;
    }
    friend bool operator==(const ProgressHUDMaskType &, const ProgressHUDMaskType &) = default;
};

enum class ProgressHUDPosition { top, center, bottom };

#pragma once

// Small objects that stand for the controls of a screen. A screen owns them
// and its logic reads and writes their properties; the QML page binds to
// them both ways. Setting a property from code never fires an action, as on
// the device: actions come only from the user, through the Q_INVOKABLEs the
// pages call.

#include <QColor>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QtQml/qqmlregistration.h>

#define ZL_PROP(Type, name, setter)                                  \
public:                                                              \
    Type name() const { return m_##name; }                           \
    void setter(const Type& v) {                                     \
        if (m_##name == v) return;                                   \
        m_##name = v;                                                \
        emit name##Changed();                                        \
    }                                                                \
                                                                     \
private:                                                             \
    Type m_##name

class UIView : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by its screen")
    Q_PROPERTY(bool hidden READ hidden WRITE setHidden NOTIFY hiddenChanged)
    Q_PROPERTY(QColor backgroundColor READ backgroundColor WRITE setBackgroundColor NOTIFY backgroundColorChanged)
    Q_PROPERTY(bool enabled READ enabled WRITE setEnabled NOTIFY enabledChanged)
    Q_PROPERTY(int tag READ tag WRITE setTag NOTIFY tagChanged)
    ZL_PROP(bool, hidden, setHidden) = false;
    ZL_PROP(QColor, backgroundColor, setBackgroundColor);
    ZL_PROP(bool, enabled, setEnabled) = true;
    ZL_PROP(int, tag, setTag) = 0;

public:
    explicit UIView(QObject* parent = nullptr) : QObject(parent) {}
signals:
    void hiddenChanged();
    void backgroundColorChanged();
    void enabledChanged();
    void tagChanged();
};

class UILabel : public UIView {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by its screen")
    Q_PROPERTY(QString text READ text WRITE setText NOTIFY textChanged)
    Q_PROPERTY(QColor textColor READ textColor WRITE setTextColor NOTIFY textColorChanged)
    ZL_PROP(QString, text, setText);
    ZL_PROP(QColor, textColor, setTextColor) = QColor(Qt::black);

public:
    explicit UILabel(QObject* parent = nullptr) : UIView(parent) {}
signals:
    void textChanged();
    void textColorChanged();
};

class UITextField : public UILabel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by its screen")
    Q_PROPERTY(QString placeholder READ placeholder WRITE setPlaceholder NOTIFY placeholderChanged)
    ZL_PROP(QString, placeholder, setPlaceholder);

public:
    explicit UITextField(QObject* parent = nullptr) : UILabel(parent) {}
    // The user typed: the text changes, then editingChanged.
    Q_INVOKABLE void userEdit(const QString& text) {
        setText(text);
        emit editingChanged();
    }
    // The user left the field (return key or focus elsewhere).
    Q_INVOKABLE void endEditing() { emit editingDidEnd(); }
signals:
    void placeholderChanged();
    void editingChanged();
    void editingDidEnd();
};

class UIButton : public UIView {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by its screen")
    Q_PROPERTY(QString title READ title WRITE setTitle NOTIFY titleChanged)
    ZL_PROP(QString, title, setTitle);

public:
    explicit UIButton(QObject* parent = nullptr) : UIView(parent) {}
    Q_INVOKABLE void tap() {
        if (enabled()) emit touchUpInside();
    }
signals:
    void titleChanged();
    void touchUpInside();
};

class UISwitch : public UIView {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by its screen")
    Q_PROPERTY(bool isOn READ isOn WRITE setOn NOTIFY isOnChanged)
    ZL_PROP(bool, isOn, setOn) = false;

public:
    explicit UISwitch(QObject* parent = nullptr) : UIView(parent) {}
    Q_INVOKABLE void userToggle(bool on) {
        setOn(on);
        emit valueChanged();
    }
signals:
    void isOnChanged();
    void valueChanged();
};

class UISlider : public UIView {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by its screen")
    Q_PROPERTY(float value READ value WRITE setValue NOTIFY valueChanged_)
    Q_PROPERTY(float minimumValue READ minimumValue WRITE setMinimumValue NOTIFY rangeChanged)
    Q_PROPERTY(float maximumValue READ maximumValue WRITE setMaximumValue NOTIFY rangeChanged)

public:
    explicit UISlider(QObject* parent = nullptr) : UIView(parent) {}
    float value() const { return m_value; }
    // Like the control, the shown value stays within the range.
    void setValue(float v) {
        v = qBound(m_min, v, m_max);
        if (v == m_value) return;
        m_value = v;
        emit valueChanged_();
    }
    float minimumValue() const { return m_min; }
    float maximumValue() const { return m_max; }
    void setMinimumValue(float v) { m_min = v; emit rangeChanged(); }
    void setMaximumValue(float v) { m_max = v; emit rangeChanged(); }
    Q_INVOKABLE void userSlide(float v) {
        setValue(v);
        emit valueChanged();
    }
signals:
    void valueChanged_();
    void rangeChanged();
    void valueChanged();  // user action

private:
    float m_value = 0.0f;
    float m_min = 0.0f;
    float m_max = 255.0f;
};

class UISegmentedControl : public UIView {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by its screen")
    Q_PROPERTY(int selectedSegmentIndex READ selectedSegmentIndex WRITE setSelectedSegmentIndex NOTIFY selectedSegmentIndexChanged)
    Q_PROPERTY(QStringList titles READ titles WRITE setTitles NOTIFY titlesChanged)
    ZL_PROP(int, selectedSegmentIndex, setSelectedSegmentIndex) = 0;
    ZL_PROP(QStringList, titles, setTitles);

public:
    explicit UISegmentedControl(QObject* parent = nullptr) : UIView(parent) {}
    Q_INVOKABLE void userSelect(int index) {
        setSelectedSegmentIndex(index);
        emit valueChanged();
    }
signals:
    void selectedSegmentIndexChanged();
    void titlesChanged();
    void valueChanged();
};

// Wheels of rows (a picker view): the rows of each wheel are texts, one row
// selected per wheel. didSelectRow comes from the user only.
class UIPickerView : public UIView {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by its screen")
    Q_PROPERTY(QList<QStringList> components READ components NOTIFY componentsChanged)
    Q_PROPERTY(QList<int> selectedRows READ selectedRows NOTIFY selectedRowsChanged)

public:
    explicit UIPickerView(QObject* parent = nullptr) : UIView(parent) {}
    QList<QStringList> components() const { return m_components; }
    void setComponents(const QList<QStringList>& components) {
        m_components = components;
        m_selected = QList<int>(components.size(), 0);
        emit componentsChanged();
        emit selectedRowsChanged();
    }
    QList<int> selectedRows() const { return m_selected; }
    int selectedRowInComponent(int component) const { return m_selected.value(component, -1); }
    void selectRow(int row, int component, bool animated = false) {
        Q_UNUSED(animated);
        if (component < 0 || component >= m_selected.size() || row < 0 || row >= m_components[component].size()) return;
        if (m_selected[component] == row) return;
        m_selected[component] = row;
        emit selectedRowsChanged();
    }
    Q_INVOKABLE void userSelect(int row, int component) {
        selectRow(row, component);
        emit didSelectRow(row, component);
    }
signals:
    void componentsChanged();
    void selectedRowsChanged();
    void didSelectRow(int row, int component);

private:
    QList<QStringList> m_components;
    QList<int> m_selected;
};

// Shows an HTML text (the help page).
class UIWebView : public UIView {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by its screen")
    Q_PROPERTY(QString html READ html NOTIFY htmlChanged)
    Q_PROPERTY(QString baseUrl READ baseUrl NOTIFY htmlChanged)

public:
    explicit UIWebView(QObject* parent = nullptr) : UIView(parent) {}
    QString html() const { return m_html; }
    QString baseUrl() const { return m_baseUrl; }
    void loadHTMLString(const QString& html, const QString& baseUrl) {
        m_html = html;
        m_baseUrl = baseUrl;
        emit htmlChanged();
    }
signals:
    void htmlChanged();

private:
    QString m_html;
    QString m_baseUrl;
};

#undef ZL_PROP

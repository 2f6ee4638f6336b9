#ifndef VELLPLUGINTOOL_H
#define VELLPLUGINTOOL_H

// What the filter plug-ins with parameters share on top of their tool base:
// the parameter widget they own, and the hooks through which the library
// reads and writes their parameters.

#include "tools/velltoolbase.h"

#include <QFormLayout>
#include <QVBoxLayout>
#include <QWidget>

#include <memory>

// The parameter hooks of VellToolBase that such a plug-in implements: the
// defaults, the record kept in presets and batch steps, and the named
// parameters hosts set. Written in the public part of the class.
#define VELL_TOOL_PARAMETER_HOOKS                                                    \
    void initParams() override;                                                      \
    void serializeParams(QDataStream &out) override;                                 \
    void deserializeParams(QDataStream &in) override;                                \
    QVector<VellToolParameter> parameterList() const override;                       \
    double parameterValue(const QString &parameter) const override;                  \
    bool setParameterValue(const QString &parameter, double value) override;

// A parameter of a plug-in held as a number of its own: the name hosts use,
// the range and the default.
struct VellPluginParameter
{
    const char *name;
    double minimum, maximum, defaultValue;

    bool contains(double value) const { return value >= minimum && value <= maximum; }   // NaN is not
};

// The index of the parameter called `name`, or -1.
template<size_t N>
int vellParameterIndex(const VellPluginParameter (&parameters)[N], const QString &name)
{
    for (size_t i = 0; i < N; ++i)
        if (name == QLatin1String(parameters[i].name))
            return int(i);
    return -1;
}

// The parameters as hosts list them, each with its translated description.
template<size_t N>
QVector<VellToolParameter> vellParameterList(const VellPluginParameter (&parameters)[N], const QString (&texts)[N])
{
    QVector<VellToolParameter> list;
    for (size_t i = 0; i < N; ++i)
        list.append({QLatin1String(parameters[i].name), texts[i], parameters[i].minimum, parameters[i].maximum,
                     parameters[i].defaultValue, false});
    return list;
}

// A plug-in tool on `Base` (VellToolBase or one of its bases) that owns its
// parameter widget: the plug-in's initParamWidget() makes it on the first
// activation (makeWidget), the tool shows and hides it, and deleteWidget()
// deletes it after the plug-in has forgotten the widget's children. The
// layout is a column whose first row is the plug-in's form, so the base can
// put the presets browser under it. GUI thread.
template<typename Base>
class VellPluginTool : public Base
{
public:
    using Base::Base;

    QWidget *getWidget() override { return widget.get(); }
    void showWidget() override
    {
        if (widget)
            widget->show();
    }
    void hideWidget() override
    {
        if (widget)
            widget->hide();
    }
    void deleteWidget() override
    {
        forgetControls();
        widget.reset();
    }

protected:
    // The form of a new widget titled `title`, or null when the widget
    // exists already (its controls are kept across activations).
    QFormLayout *makeWidget(const QString &title)
    {
        if (widget)
            return nullptr;
        widget = std::make_unique<QWidget>();
        widget->setWindowTitle(title);
        auto *column = new QVBoxLayout(widget.get());
        auto *form = new QFormLayout;
        column->addLayout(form);
        return form;
    }
    // Clears the plug-in's pointers to the widget's children, which go with it.
    virtual void forgetControls() = 0;

    std::unique_ptr<QWidget> widget;   // made on the first activation
};

#endif // VELLPLUGINTOOL_H

#ifndef VELLPLUGINTOOL_H
#define VELLPLUGINTOOL_H

// What the filter plug-ins with parameters share on top of their tool base:
// the parameter widget they own, and the hooks through which the library
// reads and writes their parameters.

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

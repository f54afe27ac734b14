#include "kelorintal/LayoutText.h"

#include "kelui/controls/UI_Checkbox.h"
#include "kelui/controls/UI_Popup.h"

#include <QtCore/QXmlStreamReader>

#include <fstream>
#include <iterator>

namespace kelorintal {

namespace {

using kelcore::utility::UTF16String;
using kelui::controls::UI_Checkbox;
using kelui::controls::UI_Popup;
using kelui::controls::UI_ViewHolder;

UTF16String ToUTF16(QStringView text)
{
    return {text.utf16(), static_cast<std::size_t>(text.size())};
}

bool IsProperty(const QXmlStreamReader& xml, QStringView name)
{
    return xml.name() == u"property" && xml.attributes().value("name") == name;
}

// Every reader below starts on an element's start and leaves the XML at its end.

QString ReadProperty(QXmlStreamReader& xml)
{
    QString text;
    while (xml.readNextStartElement()) {
        text = xml.readElementText(QXmlStreamReader::IncludeChildElements);
    }
    return text;
}

void ReadItem(QXmlStreamReader& xml, UI_Popup& popup)
{
    while (xml.readNextStartElement()) {
        if (IsProperty(xml, u"text")) {
            popup.AddItem(ToUTF16(ReadProperty(xml)));
        } else {
            xml.skipCurrentElement();
        }
    }
}

void ReadPopup(QXmlStreamReader& xml, UI_Popup& popup)
{
    std::int32_t selected = UI_Popup::kNothingSelected;
    while (xml.readNextStartElement()) {
        if (xml.name() == u"item") {
            ReadItem(xml, popup);
        } else if (IsProperty(xml, u"currentIndex")) {
            selected = ReadProperty(xml).toInt();
        } else {
            xml.skipCurrentElement();
        }
    }
    popup.SetValue(selected);
}

void ReadCheckbox(QXmlStreamReader& xml, UI_Checkbox& checkbox)
{
    while (xml.readNextStartElement()) {
        if (IsProperty(xml, u"checked")) {
            checkbox.SetValue(ReadProperty(xml) == u"true" ? 1 : 0);
        } else {
            xml.skipCurrentElement();
        }
    }
}

void ReadWidget(QXmlStreamReader& xml, UI_ViewHolder& holder)
{
    const auto attributes = xml.attributes();
    const UTF16String id = ToUTF16(attributes.value("name"));
    if (attributes.value("class") == u"QComboBox") {
        const boost::intrusive_ptr<UI_Popup> popup(new UI_Popup(holder.GetGuard(), id));
        ReadPopup(xml, *popup);
        holder.AddControl(popup);
    } else if (attributes.value("class") == u"QCheckBox") {
        const boost::intrusive_ptr<UI_Checkbox> checkbox(new UI_Checkbox(holder.GetGuard(), id));
        ReadCheckbox(xml, *checkbox);
        holder.AddControl(checkbox);
    }
}

LayoutText ReadFile(const std::filesystem::path& path, const std::string& name)
{
    std::ifstream file(path, std::ios::binary);
    LayoutText layout;
    layout.text.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    if (layout.text.empty()) {
        layout.whyNot = "layout " + name + " is empty";
    }
    return layout;
}

} // namespace

LayoutText ReadLayout(
    const kelui::utility::ResourceManager* resources, const char* name, const char* otherName)
{
    std::string missing;
    for (const char* candidate : {name, otherName}) {
        if (candidate == nullptr || resources == nullptr) {
            continue;
        }
        const std::string file = candidate + std::string(".ui");
        if (const auto path = resources->FindResource(file); path) {
            return ReadFile(*path, file);
        }
        if (missing.empty()) {
            missing = file;
        } else if (missing != file) {
            missing.append(" or ").append(file);
        }
    }
    return {{},
        missing.empty() ? "no layout is named, or no resources are at hand"
                        : "the resources hold no layout " + missing};
}

std::string MakeControls(const std::string& layout, UI_ViewHolder& holder)
{
    QXmlStreamReader xml(
        QByteArray::fromRawData(layout.data(), static_cast<qsizetype>(layout.size())));
    while (!xml.atEnd()) {
        if (xml.readNext() == QXmlStreamReader::StartElement && xml.name() == u"widget") {
            ReadWidget(xml, holder);
        }
    }
    return xml.hasError() ? "line " + std::to_string(xml.lineNumber())
            + " of the layout: " + xml.errorString().toStdString()
                          : std::string();
}

} // namespace kelorintal

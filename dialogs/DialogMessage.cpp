#include "dialogs/DialogMessage.h"

#include "ui_DialogMessage.h"

#include <algorithm>
#include <array>

DialogMessage::DialogMessage(const QList<QString>& lines, QWidget* parent)
    : QDialog(parent), ui(new Ui_DialogMessage)
{
    ui->setupUi(this);
    const std::array labels{ui->label_1, ui->label_2, ui->label_3, ui->label_4};
    const auto shown = std::min(static_cast<std::size_t>(lines.size()), labels.size());
    for (std::size_t i = 0; i < shown; ++i)
        labels.at(i)->setText(lines.at(static_cast<qsizetype>(i)));
}

DialogMessage::~DialogMessage()
{
    delete ui;
}

void DialogMessage::on_pushButton_clicked()
{
    accept();
}

#pragma once

#include <QDialog>
#include <QList>

class Ui_DialogMessage;

/// A short notice: up to four lines of text, centred one below the other, and an "Ok" button. The
/// caller shows it, modal by `exec()` or otherwise.
class DialogMessage : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DialogMessage)

public:
    /// Shows the entries of `lines` from top to bottom, as they are; what follows the fourth is not
    /// shown. Belongs to `parent` when there is one.
    DialogMessage(const QList<QString>& lines, QWidget* parent);
    ~DialogMessage() override;

private slots:
    /// Closes the dialog with the accepted result. Bound to the button by its name.
    void on_pushButton_clicked();

private:
    /// Owned; the widgets in it belong to the dialog.
    Ui_DialogMessage* ui;
};

// SPDX-License-Identifier: Apache-2.0
// The program's help viewer. The help file "BTCONF.HLP" is plain text of topics:
//   @topic <context number> <title>
//   lines of the topic ...
// Context 0 is the contents.
#pragma once

#include <QDialog>
#include <QMap>
#include <QString>

class QTextBrowser;

struct HelpTopic {
    int context = 0;
    QString title;
    QString text;
};

class HelpFile {
  public:
    // Looks for the file beside the program, then in the docs folder of the source tree.
    static QString DefaultPath();
    bool Load(const QString& path);
    bool Has(int context) const { return topics.contains(context); }
    const HelpTopic* Topic(int context) const;
    QList<int> Contexts() const { return topics.keys(); }

  private:
    QMap<int, HelpTopic> topics;
};

class HelpViewer : public QDialog {
    Q_OBJECT
  public:
    explicit HelpViewer(const HelpFile& file, QWidget* parent = nullptr);
    // Contents with links to every topic (context 0), or one topic.
    void ShowTopic(int context);
    QTextBrowser* browser = nullptr;

  private:
    const HelpFile& file;
};

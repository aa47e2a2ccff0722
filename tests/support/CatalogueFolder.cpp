#include <tests/support/CatalogueFolder.h>

#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <gtest/gtest.h>

#include <vector>

namespace Tolm::Tests {

QString CatalogueFolder::answersIn(const QStringList &said)
{
    return said.filter(QRegularExpression("^\\w+=")).join(' ');
}

QVector<QStringList> CatalogueFolder::runTogether(int count, const QStringList &commands) const
{
    std::vector<std::unique_ptr<ChildProgram>> children;
    for (int child = 0; child < count; ++child)
        children.push_back(start(commands));
    for (const auto &child : children)
        EXPECT_TRUE(child->waitFor("ready"));
    for (const auto &child : children)
        child->proceed();
    QVector<QStringList> said;
    for (const auto &child : children)
        said.append(child->finish());
    return said;
}

QByteArray CatalogueFolder::read(const QString &path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(path);
    return file.readAll();
}

void CatalogueFolder::write(const QString &path, const QByteArray &content)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << qPrintable(path);
    EXPECT_EQ(file.write(content), content.size());
}

QMap<QString, QByteArray> CatalogueFolder::snapshot(const QString &path)
{
    QMap<QString, QByteArray> files;
    QDirIterator entries(path, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString file = entries.next();
        files.insert(QDir(path).relativeFilePath(file), read(file));
    }
    return files;
}

} // namespace Tolm::Tests

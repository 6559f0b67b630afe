#include "CdpPage.h"

#include "Polling.h"

#include <QJsonDocument>

CdpPage::CdpPage()
{
    QObject::connect(&socket, &QWebSocket::textMessageReceived, &socket, [this](const QString& message) {
        const QJsonObject answer = QJsonDocument::fromJson(message.toUtf8()).object();
        if (answer.contains("id"))
            answers.insert(answer.value("id").toInt(), answer);
    });
}

bool CdpPage::open(const QString& socketUrl, int timeoutMs)
{
    socket.open(QUrl(socketUrl));
    return waitUntil([&] { return socket.state() == QAbstractSocket::ConnectedState; }, timeoutMs);
}

QJsonValue CdpPage::evaluate(const QString& expression, int timeoutMs)
{
    const int id = nextId++;
    const QJsonObject call{{"id", id},
                           {"method", "Runtime.evaluate"},
                           {"params", QJsonObject{{"expression", expression}, {"returnByValue", true}}}};
    socket.sendTextMessage(QString::fromUtf8(QJsonDocument(call).toJson(QJsonDocument::Compact)));
    if (!waitUntil([&] { return answers.contains(id); }, timeoutMs))
        return QJsonValue(QJsonValue::Undefined);
    const QJsonObject result = answers.take(id).value("result").toObject();
    if (result.contains("exceptionDetails"))
        return QJsonValue(QJsonValue::Undefined);
    return result.value("result").toObject().value("value");
}

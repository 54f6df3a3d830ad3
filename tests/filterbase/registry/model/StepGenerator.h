#pragma once

#include "../../support/Random.h"
#include "RegistryModel.h"
#include "Step.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <vector>

namespace FilterBaseTesting {

/// Makes steps that mean something in the state that the model is in.
class StepGenerator
{
public:
    /// \a isUsable says of an id of the model whether the other side can be told what is meant.
    StepGenerator(unsigned int seed, const RegistryModel &model,
                  std::function<bool(const QByteArray &)> isUsable);

    Step next();

    /// Ends the batch scope that is open.
    Step last();

    /// The same name in some letter case.
    QString inAnyCase(const QString &name);
    const std::vector<QString> &names() const { return m_names; }

    bool chance(unsigned int percent);

private:
    using Wanted = std::function<bool(const ModelAsset &)>;

    unsigned int below(unsigned int bound) { return m_random() % bound; }
    template<class T>
    const T &oneOf(const std::vector<T> &values);
    QByteArray anyId(const Wanted &wanted);
    std::vector<QByteArray> allIds(const Wanted &wanted) const;
    QByteArray newId(const char *letter);
    QString anyName();

    Step make();
    Step add();
    Step addVersion();
    Step link();
    Step import();
    std::vector<QByteArray> batch();
    Step restart();
    Step remove();
    Step endScope();
    void aim(Step &step);
    void refuse(Step &step);

    Random m_random;
    const RegistryModel &m_model;
    const std::function<bool(const QByteArray &)> m_isUsable;
    std::vector<QString> m_names;
    int m_idCount = 0;
    int m_stepCount = 0;
};

} // namespace FilterBaseTesting

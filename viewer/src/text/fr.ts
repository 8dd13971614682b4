// Everything the page says, in French. en.ts says the same; the compiler compares the two. The blanks
// before : ; ? ! and within « » do not break, here as everywhere in French.

export const fr = {
    locale: "fr-FR",
    units: ["o", "Kio", "Mio", "Gio", "Tio", "Pio"],
    otherLanguage: "English",
    otherLanguageLabel: "Show this page in English",
    title: "Larkspine : lire un rapport",
    product: "Larkspine",

    landingTitle: "Ouvrir un rapport de Larkspine",
    landingDrop: "Déposez ici le fichier Fennick_Resultats_….csv",
    landingOr: "ou",
    landingChoose: "Choisir le rapport…",
    landingPoints: [
        "Rien n’est envoyé : cette page n’a pas accès au réseau.",
        "Rien n’est supprimé : vous choisissez des fichiers et enregistrez la liste.",
        "Un exemplaire de chaque groupe ne peut jamais être choisi.",
    ],
    reading: (percent: string) => `Lecture du rapport : ${percent}`,
    opened: (files: string, groups: string) => `Rapport ouvert : ${files} dans ${groups}.`,

    problems: {
        header: (line: string) =>
            `Ligne ${line} : ce fichier n’est pas un rapport de Larkspine, ses titres sont autres.`,
        cut: (line: string) =>
            `Ligne ${line} : le rapport s’arrête avant sa fin ; refaites l’analyse.`,
        utf8: (line: string) =>
            `Ligne ${line} : cette ligne n’est pas de Larkspine, son texte n’est pas de l’UTF-8.`,
        fields: (line: string) =>
            `Ligne ${line} : cette ligne n’est pas de Larkspine, elle n’a pas quatre champs bien formés.`,
        group: (line: string) =>
            `Ligne ${line} : cette ligne n’est pas de Larkspine, son numéro de groupe ne suit pas le précédent.`,
        status: (line: string) =>
            `Ligne ${line} : cette ligne n’est pas de Larkspine, un groupe est un Original puis des Doublons.`,
        size: (line: string) =>
            `Ligne ${line} : cette ligne n’est pas de Larkspine, sa taille n’est pas celle d’un fichier du groupe.`,
        twice: (line: string) =>
            `Ligne ${line} : cette ligne n’est pas de Larkspine, son chemin est déjà dans le groupe.`,
        single: (line: string) =>
            `Ligne ${line} : cette ligne n’est pas de Larkspine, son groupe n’a qu’un fichier.`,
        choices: (line: string) =>
            `Ligne ${line} : cette ligne n’est pas d’une sélection enregistrée par cette page.`,
        unreadable: (_line: string) => "Le navigateur n’a pas pu lire ce fichier.",
    },

    views: { summary: "Résumé", groups: "Groupes", folders: "Dossiers", pairs: "Paires de dossiers" },
    viewsLabel: "Vues",
    print: "Imprimer",
    openAnother: "Autre rapport…",

    filters: "Filtres",
    filterText: "Texte du chemin",
    filterFolder: "Sous le dossier",
    filterTypes: "Types (jpg, pdf…)",
    filterLeast: "Taille",
    filterStatus: "Statut",
    anySize: "Toutes les tailles",
    notEmpty: "Non vides",
    atLeast: (size: string) => `Au moins ${size}`,
    from: (least: string, most: string) => most === "" ? `${least} et plus` :
        least === "" ? `Moins de ${most}` : `De ${least} à ${most}`,
    statuses: { all: "Tous", original: "Originaux", copy: "Doublons" },
    clearFilters: "Effacer les filtres",
    hiddenChip: (folder: string) => `Masqué : ${folder}`,
    directChip: "Sans les sous-dossiers",
    pairChip: (one: string, other: string) => `Paire : ${one} et ${other}`,
    removeChip: (chip: string) => `Retirer « ${chip} »`,
    ignoredOnly: "Groupes ignorés",
    found: (groups: string, files: string) => `${groups}, ${files}`,
    nothingFound: "Rien ne correspond aux filtres.",
    folderNotInReport: "Ce dossier n’est pas dans le rapport.",

    groups: (n: string, one: boolean) => one ? `${n} groupe` : `${n} groupes`,
    files: (n: string, one: boolean) => one ? `${n} fichier` : `${n} fichiers`,
    copies: (n: string, one: boolean) => one ? `${n} copie` : `${n} copies`,

    cardGroups: "Groupes",
    cardCopies: "Copies en trop",
    cardBytes: "Place prise par les copies",
    cardEmpty: "Fichiers vides",
    cardEmptyNote: "comptés à part : ils ne prennent pas de place",
    cardGroupsNote: (files: string) => `${files} de même contenu`,
    cardCopiesNote: "un exemplaire par groupe n’est pas compté",
    unnamedNote: (files: string) =>
        `${files} sans chemin lisible, à voir mais jamais à choisir.`,
    ignoredNote: (groups: string) => `Ignorés, donc non comptés : ${groups}.`,
    showIgnored: "Les voir",
    noDuplicates: "Ce rapport ne contient aucun doublon.",
    topFolders: "Les dix dossiers qui gaspillent le plus",
    topFoldersNote: "copies placées directement dans le dossier",
    byType: "Par type de fichier",
    bySize: "Par taille",
    type: "Type",
    noType: "sans extension",
    otherTypes: (n: string) => `autres types : ${n}`,
    sizeClass: "Taille d’un fichier",
    folder: "Dossier",
    noFolder: "(sans dossier)",
    copiesColumn: "Copies",
    bytesColumn: "Place prise",
    share: "Part",

    groupsLabel: "Groupes de fichiers identiques",
    chooseColumn: "Choix",
    fileColumn: "Fichier",
    statusColumn: "Statut",
    sizeColumn: "Taille",
    wastedColumn: "Gaspillé",
    orderLabel: "Trier par",
    orders: { wasted: "Place gaspillée", count: "Nombre de fichiers", size: "Taille", path: "Chemin" },
    original: "Original",
    copy: "Doublon",
    unnamed: "(chemin illisible : ne peut pas être choisi)",
    groupName: (number: string) => `Groupe ${number}`,
    expandAll: "Tout déplier",
    collapseAll: "Tout replier",
    ignore: "Ignorer ce groupe",
    unignore: "Ne plus ignorer",
    ignoredDone: (group: string) => `${group} ignoré.`,
    ignoredNotKept: (group: string) =>
        `${group} ignoré, mais ce navigateur n’en garde rien : enregistrez la sélection, elle le retient.`,
    unignoredDone: (group: string) => `${group} de nouveau affiché.`,
    cannotIgnore: "Un groupe sans aucun chemin lisible ne peut pas être ignoré.",
    keepsOne: "Un exemplaire de chaque groupe doit rester.",
    noPath: "Ce fichier n’a pas de chemin lisible ; il ne peut pas être choisi.",
    chosen: "choisi",
    onlyThisFolder: "Voir ce dossier",
    hideFolder: "Masquer ce dossier",
    keepHere: "Garder ici…",
    markHere: "Choisir ici…",
    currentNone: "Flèches : se déplacer. Espace : choisir. I : ignorer le groupe.",

    tree: "Arbre",
    list: "Liste",
    foldersLabel: "Dossiers par place prise",
    folderShape: "Affichage des dossiers",
    filesColumn: "Fichiers",
    wholeReport: "Tout le rapport",
    ownFiles: "dans ce dossier même",
    others: (n: string) => `autres : ${n}`,
    treemapLabel: (folder: string) => `Place prise sous ${folder}`,
    treemapEmpty: "Aucune place prise sous ce dossier.",
    showGroups: "Voir les groupes",
    foldersHint: "Entrée ou clic : les groupes sous ce dossier. Flèches : déplier.",

    pairsLabel: "Paires de dossiers",
    pairsNote: "Contenus présents dans les deux dossiers. Le rapport ne liste que des doublons : il ne " +
        "dit pas si un dossier contient tout l’autre.",
    firstFolder: "Dossier",
    secondFolder: "Autre dossier",
    commonFiles: "En commun",
    commonBytes: "Octets en commun",
    counting: "Calcul des paires…",
    noPairs: "Aucun contenu n’est présent dans deux dossiers.",
    pairsCount: (pairs: string) => `Paires : ${pairs}`,
    pairsLeftOut: (groups: string, most: string) =>
        `Laissé de côté, car dans plus de ${most} dossiers à la fois : ${groups}.`,
    pairsRefused: (n: string) => `Tableau plein : il y manque les plus petits contenus communs, au nombre de ${n}.`,

    selection: "Sélection",
    selectionIs: (files: string, bytes: string) => `${files}, ${bytes}`,
    rule: "Choisir par règle…",
    undo: "Annuler",
    undone: "Dernier changement annulé.",
    clear: "Tout libérer",
    save: "Enregistrer…",
    load: "Reprendre…",
    saving: "Enregistrement de la sélection…",
    saved: (files: string) => `Sélection enregistrée : ${files}.`,
    loaded: (files: string) => `Sélection reprise : ${files}.`,
    loadedPart: (files: string, missing: string) =>
        `Sélection reprise : ${files} ; laissé de côté : ${missing} de la liste.`,
    foreignTitle: "Cette sélection vient d’un autre rapport",
    foreignText: (found: string, all: string) =>
        "Son empreinte n’est pas celle du rapport ouvert. Présents ici avec le même chemin et la même " +
        `taille : ${found}, sur ${all}. ` + "Le contenu a pu changer entre les deux analyses.",
    foreignIgnored: (groups: string) => `Elle porte aussi ${groups} à ignorer.`,
    foreignTake: "Reprendre ceux qui sont ici",
    foreignLeave: "Ne rien reprendre",

    leaveTitle: "Ouvrir un autre rapport ?",
    leaveText: "La sélection n’est pas enregistrée et sera perdue.",
    leaveGo: "Ouvrir",
    cancel: "Fermer",

    ruleTitle: "Choisir par règle",
    ruleScope: (groups: string) =>
        `Portée : ${groups}, ceux que montrent les filtres ; seuls les fichiers montrés sont choisis.`,
    rules: {
        keepBelow: "Garder ce qui est sous un dossier, choisir les autres copies",
        markBelow: "Choisir ce qui est sous un dossier",
        keepShortest: "Garder le chemin le plus court",
        keepOriginal: "Garder l’original",
    },
    ruleNotes: {
        keepBelow: "Les groupes sans fichier sous ce dossier ne changent pas.",
        markBelow: "Si toutes les copies d’un groupe y sont, la première reste.",
        keepShortest: "À longueur égale, le premier dans l’ordre des chemins reste.",
        keepOriginal: "L’original est le premier chemin, ni le plus ancien ni le meilleur.",
    },
    ruleFolder: "Dossier",
    ruleResult: (files: string, bytes: string) => `Après la règle : ${files}, ${bytes}.`,
    ruleApply: "Appliquer",
    ruleDone: (files: string, bytes: string) => `Sélection : ${files}, ${bytes}.`,

    printTitle: "Rapport de doublons",
    printGroups: (n: string) => `Les ${n} premiers groupes`,
    printMore: (files: string) => `et ${files} de plus`,
};

export type Texts = typeof fr;

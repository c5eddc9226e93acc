    for(x=0;x<20;x++) for(y=0;y<20;y++)
      cashflow[x][y]=0;

    if(t>=1000000) goto accumulate;
    // A
    // state 0: ((alive (active)))
    // state 1: ((alive (disabled)))
    // state 2: ((dead))
    payWeight=0.500000;
    paySize=
      1.000000;
    fp_fraction=
      0.500000;
    prob_alive_to_dead=
      0.010000;
    prob_alive_to_alive=
      1-prob_alive_to_dead;
    prob_dead_to_dead=
      1;
    prob_active_to_disabled=
      0.020000;
    prob_active_to_active=
      1-prob_active_to_disabled;
    prob_disabled_to_disabled=
      1;
    weight_active=
      0.750000;
    weight_disabled=
      1-weight_active;
    // Copy pp probabilities to temporary variables
    prob_0=prob_product_1_state_0;
    prob_1=prob_product_1_state_1;
    prob_2=prob_product_1_state_2;
    // Copy fp probabilities to temporary variables
    prob_fp_0=prob_product_1_fp_state_0;
    prob_fp_1=prob_product_1_fp_state_1;
    prob_fp_2=prob_product_1_fp_state_2;
    // Move pp probabiliites
    probTransfer=0;
    prob=((prob_alive_to_alive*0.020000)*prob_0);
    prob_product_1_state_0-=prob;
    prob_product_1_state_1+=prob;
    prob=(0.010000*prob_0);
    prob_product_1_state_0-=prob;
    prob_product_1_state_2+=prob;
    prob=(0.010000*prob_1);
    prob_product_1_state_1-=prob;
    prob_product_1_state_2+=prob;
    probTransfer+=prob_product_1_state_0;
    // Move fp probabiliites
    prob=((prob_alive_to_alive*0.020000)*prob_fp_0);
    prob_product_1_fp_state_0-=prob;
    prob_product_1_fp_state_1+=prob;
    prob=(0.010000*prob_fp_0);
    prob_product_1_fp_state_0-=prob;
    prob_product_1_fp_state_2+=prob;
    prob=(0.010000*prob_fp_1);
    prob_product_1_fp_state_1-=prob;
    prob_product_1_fp_state_2+=prob;
    probTransfer+=prob_product_1_fp_state_0;
    // Move probability from pp to fp
    prob_product_1_state_0-=quotient_ppa*prob_0;
    prob_product_1_fp_state_0+=quotient_ppa*fp_fraction*prob_0;
    // Transfer money from account to account
    cashflow[3][0]+=payWeight*paySize*probTransfer;

    if(t>=24) goto accumulate;
    // B
    // state 0: ((alive))
    // state 1: ((dead))
    payWeight=2.000000;
    paySize=
      2.000000;
    fp_fraction=
      0.500000;
    prob_alive_to_dead=
      0.010000;
    prob_alive_to_alive=
      1-prob_alive_to_dead;
    prob_dead_to_dead=
      1;
    // Copy pp probabilities to temporary variables
    prob_0=prob_product_2_state_0;
    prob_1=prob_product_2_state_1;
    // Copy fp probabilities to temporary variables
    prob_fp_0=prob_product_2_fp_state_0;
    prob_fp_1=prob_product_2_fp_state_1;
    // Move pp probabiliites
    probTransfer=0;
    prob=(0.010000*prob_0);
    prob_product_2_state_0-=prob;
    prob_product_2_state_1+=prob;
    probTransfer+=prob_product_2_state_1;
    // Move fp probabiliites
    prob=(0.010000*prob_fp_0);
    prob_product_2_fp_state_0-=prob;
    prob_product_2_fp_state_1+=prob;
    probTransfer+=prob_product_2_fp_state_1;
    // Move probability from pp to fp
    prob_product_2_state_0-=delta_ppa;
    prob_product_2_fp_state_0+=delta_ppa*fp_fraction;
    // Transfer money from account to account
    cashflow[3][0]+=payWeight*paySize*probTransfer;

    if(t>=24) goto accumulate;
    // B
    // state 0: ((alive))
    // state 1: ((dead))
    payWeight=1;
    paySize=
      2.000000;
    fp_fraction=
      0.500000;
    prob_alive_to_dead=
      0.010000;
    prob_alive_to_alive=
      1-prob_alive_to_dead;
    prob_dead_to_dead=
      1;
    // Copy pp probabilities to temporary variables
    prob_0=prob_product_0_state_0;
    prob_1=prob_product_0_state_1;
    // Move pp probabiliites
    probTransfer=0;
    prob=(0.010000*prob_0);
    prob_product_0_state_0-=prob;
    prob_product_0_state_1+=prob;
    probTransfer+=prob_product_0_state_1;
    // Transfer money from account to account
    cashflow[1][2]+=payWeight*paySize*probTransfer;

